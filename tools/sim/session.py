"""A recorded session: one unit, frames at a fixed rate, content and light
that change the way they do on a phone in use (scrolling pages, video clips,
brightness ramps of automatic brightness, moving between rooms)."""

import numpy as np

from . import constants as K
from . import frames
from . import scenes

WIN_W, WIN_H = K.WINDOW[2], K.WINDOW[3]


def _segment_screens(rng, kind, n):
    if kind == "video":
        return scenes.video_clip(rng, n)
    if kind in ("ui", "text"):
        tall_h = WIN_H * 3
        if kind == "ui":
            tall = scenes.ui_image(rng, tall_h, WIN_W)
        else:
            fg, bg = scenes.theme(rng)
            tall = scenes.text_image(rng, tall_h, WIN_W, fg, bg)
        speed = rng.uniform(0, 12) * (rng.random() < 0.7)
        offs = np.clip((np.arange(n) * speed).astype(int), 0, tall_h - WIN_H)
        return np.stack([tall[o:o + WIN_H] for o in offs])
    one = scenes.generate(kind, rng, 1)
    return np.repeat(one, n, axis=0)


def simulate_session(unit, n, rng, fps=10.0, display_mode=None, kinds=scenes.SCENE_KINDS,
                     noise=True):
    """(batch, times) of n consecutive frames."""
    dt = 1.0 / fps
    mode = int(rng.integers(0, 6)) if display_mode is None else int(display_mode)
    dc_enabled = rng.random() < 0.5
    screens, labels = [], []
    left = n
    while left > 0:
        k = min(left, int(rng.integers(int(2 * fps), int(10 * fps) + 1)))
        kind = kinds[int(rng.integers(0, len(kinds)))]
        screens.append(_segment_screens(rng, kind, k))
        labels.append(np.full(k, scenes.SCENE_KINDS.index(kind), np.int8))
        left -= k
    screen = np.concatenate(screens)
    scene = np.concatenate(labels)

    # Ambient: log-lux random walk with steps to a new place and illuminant.
    lux = np.empty(n)
    ill = np.empty(n, np.int8)
    cur = np.log(rng.uniform(1.0, 2000.0))
    cur_ill = int(rng.integers(0, len(K.ILLUMINANTS)))
    for i in range(n):
        if rng.random() < 0.01:
            cur = rng.uniform(np.log(0.5), np.log(K.LUX_MAX))
            cur_ill = int(rng.integers(0, len(K.ILLUMINANTS)))
        cur = np.clip(cur + rng.normal(0, 0.02), np.log(0.1), np.log(K.LUX_MAX))
        lux[i] = np.exp(cur)
        ill[i] = cur_ill
    # Automatic brightness: the code follows the light slowly.
    target = np.clip(2000 + 2400 * np.log10(1 + lux), 0, K.MAX_CODE)
    code = np.empty(n, np.int32)
    c = float(target[0])
    for i in range(n):
        c += (target[i] - c) * min(1.0, 0.5 * dt)
        code[i] = int(round(c))
    hop = np.zeros(n, np.int8)
    switch = rng.random(n) < 0.005
    hop_state = 0
    for i in range(n):
        if switch[i]:
            hop_state = int(rng.integers(0, 3))
        hop[i] = hop_state
    cond = {
        "brightness": code,
        "display_mode": np.full(n, mode, np.int8),
        "screen_hop_mode": hop,
        "acl": np.full(n, 1, np.int8),
        "dc_state": ((code < K.DC_DIMMING_MAX_CODE) & dc_enabled).astype(np.int8),
        "illuminant": ill,
        "lux": lux.astype(np.float32),
    }
    batches = []
    for a in range(0, n, 256):
        b = min(n, a + 256)
        part = frames.render(unit, screen[a:b], {k: v[a:b] for k, v in cond.items()},
                             rng if noise else None)
        part["scene"] = scene[a:b]
        batches.append(part)
    return frames.concat(batches), np.arange(n) * dt
