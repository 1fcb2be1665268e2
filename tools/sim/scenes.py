"""Screen content over the sensor: uint8 RGB windows of shape (n, H, W, 3).

The window's top row is the panel's top row, so the status bar of a UI lies
over the sensor, as on a phone whose sensor sits near the top edge.
"""

import functools

import numpy as np

from . import constants as K

SCENE_KINDS = ("black", "solid", "ui", "text", "photo", "video")
WIN_W, WIN_H = K.WINDOW[2], K.WINDOW[3]

_PURE = np.array([[255, 255, 255], [255, 0, 0], [0, 255, 0], [0, 0, 255], [255, 255, 0],
                  [0, 255, 255], [255, 0, 255], [128, 128, 128], [64, 64, 64], [192, 192, 192]],
                 dtype=np.uint8)


def black(rng, n, h=WIN_H, w=WIN_W):
    return np.zeros((n, h, w, 3), np.uint8)


def solid(rng, n, h=WIN_H, w=WIN_W):
    colours = rng.integers(0, 256, (n, 3))
    pure = rng.random(n) < 0.3
    colours[pure] = _PURE[rng.integers(0, len(_PURE), pure.sum())]
    return np.broadcast_to(colours.astype(np.uint8)[:, None, None, :], (n, h, w, 3)).copy()


@functools.lru_cache(maxsize=16)
def _grid(h, w):
    ys, xs = np.mgrid[0:h, 0:w].astype(np.float32)
    ys.setflags(write=False)
    xs.setflags(write=False)
    return ys, xs


def _smooth_field(rng, h, w, waves=5, scale=1.0):
    """One smooth random field in [0, 1] (sum of low-frequency cosines)."""
    ys, xs = _grid(h, w)
    f = np.zeros((h, w), np.float32)
    for _ in range(waves):
        kx, ky = rng.normal(0, 0.035 * scale, 2)
        f += rng.uniform(0.3, 1.0) * np.cos(kx * xs + ky * ys + rng.uniform(0, 2 * np.pi))
    gx, gy = rng.normal(0, 1.0, 2)
    f += gx * xs / w + gy * ys / h
    f -= f.min()
    return f / max(float(f.max()), 1e-6)


def photo_image(rng, h, w):
    base = rng.uniform(0, 1, (3, 3)).astype(np.float32)      # palette: dark, mid, bright
    t = _smooth_field(rng, h, w)
    detail = _smooth_field(rng, h, w, waves=8, scale=4.0)
    img = np.empty((h, w, 3), np.float32)
    for c in range(3):
        lo, mid, hi = np.sort(base[:, c]) if rng.random() < 0.5 else base[:, c]
        img[..., c] = np.where(t < 0.5, lo + (mid - lo) * 2 * t, mid + (hi - mid) * (2 * t - 1))
    img *= (0.75 + 0.5 * detail)[..., None]
    img *= rng.uniform(0.3, 1.1)                             # exposure
    grain = rng.standard_normal(img.shape, dtype=np.float32) * 2.0
    return np.clip(img * 255 + grain, 0, 255).astype(np.uint8)


def photo(rng, n, h=WIN_H, w=WIN_W):
    return np.stack([photo_image(rng, h, w) for _ in range(n)]) if n else black(rng, 0, h, w)


@functools.lru_cache(maxsize=None)
def _glyphs():
    """A fixed atlas of 64 glyph-like 9 x 6 bitmaps (strokes, not noise)."""
    rng = np.random.default_rng(0x61F)
    atlas = np.zeros((64, 9, 6), bool)
    for g in range(64):
        for _ in range(rng.integers(2, 5)):
            if rng.random() < 0.5:
                r = rng.integers(1, 8)
                c0, c1 = sorted(rng.integers(0, 6, 2))
                atlas[g, r, c0:c1 + 1] = True
            else:
                c = rng.integers(0, 5)
                r0, r1 = sorted(rng.integers(1, 9, 2))
                atlas[g, r0:r1 + 1, c] = True
    return atlas


def text_image(rng, h, w, fg, bg):
    """Lines of glyphs of random scale over a background, (h, w, 3) uint8."""
    atlas = _glyphs()
    s = int(rng.choice([1, 1, 2, 2, 3]))
    gh, gw = 9 * s, 6 * s
    lh = gh + rng.integers(2, 6) * s
    rows, cols = h // lh + 1, w // gw + 1
    idx = rng.integers(0, len(atlas), (rows, cols))
    blank = rng.random((rows, cols)) < 0.18
    cells = atlas[idx].repeat(s, axis=2).repeat(s, axis=3)    # rows, cols, gh, gw
    cells[blank] = False
    ink = np.zeros((rows, lh, cols * gw), bool)
    ink[:, :gh, :] = cells.transpose(0, 2, 1, 3).reshape(rows, gh, cols * gw)
    ink = ink.reshape(rows * lh, cols * gw)
    oy, ox = rng.integers(0, lh), rng.integers(0, gw)
    ink = np.roll(ink, (oy, ox), (0, 1))[:h, :w]
    out = np.where(ink[..., None], np.asarray(fg, np.uint8), np.asarray(bg, np.uint8))
    return out.astype(np.uint8)


def theme(rng):
    if rng.random() < 0.5:
        bg = rng.integers(225, 256, 3) if rng.random() < 0.8 else rng.integers(180, 256, 3)
        fg = rng.integers(0, 70, 3)
    else:
        bg = rng.integers(0, 35, 3)
        fg = rng.integers(170, 256, 3)
    return fg, bg


def text(rng, n, h=WIN_H, w=WIN_W):
    out = np.empty((n, h, w, 3), np.uint8)
    for i in range(n):
        fg, bg = theme(rng)
        out[i] = text_image(rng, h, w, fg, bg)
    return out


def ui_image(rng, h, w):
    fg, bg = theme(rng)
    img = np.empty((h, w, 3), np.uint8)
    img[:] = bg
    # Status bar over the sensor: app colour or the theme, with icons/text.
    bar = int(rng.integers(60, 110))
    if rng.random() < 0.5:
        img[:bar] = rng.integers(0, 256, 3)
    lum = img[0, 0].mean()
    ink = (20, 20, 20) if lum > 128 else (235, 235, 235)
    y0 = int(rng.integers(10, max(11, bar - 30)))
    img[y0:y0 + 27] = text_image(rng, 27, w, ink, img[y0, 0])
    # App bar, cards, buttons and an image below it.
    y = bar
    while y < h:
        kind = rng.random()
        hh = int(rng.integers(20, 90))
        x0 = int(rng.integers(0, 24))
        x1 = w - int(rng.integers(0, 24))
        if kind < 0.35:
            img[y:y + hh, x0:x1] = rng.integers(0, 256, 3)
        elif kind < 0.6:
            img[y:y + hh, x0:x1] = text_image(rng, min(hh, h - y), x1 - x0, fg, bg)[:hh]
        elif kind < 0.8:
            img[y:y + hh, x0:x1] = photo_image(rng, min(hh, h - y), x1 - x0)
        else:
            bw = int(rng.integers(20, 80))
            bx = int(rng.integers(0, max(1, w - bw)))
            img[y + 4:y + hh - 4, bx:bx + bw] = rng.integers(0, 256, 3)
        y += hh + int(rng.integers(0, 12))
    return img


def ui(rng, n, h=WIN_H, w=WIN_W):
    return np.stack([ui_image(rng, h, w) for _ in range(n)]) if n else black(rng, 0, h, w)


def video_clip(rng, n, h=WIN_H, w=WIN_W):
    """n consecutive frames of one clip: a panning photo, a moving object,
    and an exposure fade."""
    m = 64
    bg = photo_image(rng, h + 2 * m, w + 2 * m).astype(np.float32)
    v = rng.normal(0, 2.0, 2)
    obj_c = rng.integers(0, 256, 3).astype(np.float32)
    obj_r = rng.uniform(8, 40)
    p = np.array([rng.uniform(0, w), rng.uniform(0, h)])
    pv = rng.normal(0, 4.0, 2)
    fade = np.clip(1.0 + rng.normal(0, 0.02) * np.arange(n), 0.2, 1.5)
    ys, xs = np.mgrid[0:h, 0:w]
    out = np.empty((n, h, w, 3), np.uint8)
    for t in range(n):
        oy = int(np.clip(m + v[1] * t, 0, 2 * m))
        ox = int(np.clip(m + v[0] * t, 0, 2 * m))
        frame = bg[oy:oy + h, ox:ox + w] * fade[t]
        q = p + pv * t
        inside = (xs - q[0]) ** 2 + (ys - q[1]) ** 2 < obj_r ** 2
        frame[inside] = obj_c
        out[t] = np.clip(frame, 0, 255).astype(np.uint8)
    return out


def video(rng, n, h=WIN_H, w=WIN_W, clip=(8, 40)):
    """n frames made of consecutive clips (frames of a clip stay in order)."""
    parts, left = [], n
    while left > 0:
        k = min(left, int(rng.integers(clip[0], clip[1] + 1)))
        parts.append(video_clip(rng, k, h, w))
        left -= k
    return np.concatenate(parts) if parts else black(rng, 0, h, w)


GENERATORS = {"black": black, "solid": solid, "ui": ui, "text": text, "photo": photo, "video": video}


def generate(kind, rng, n, h=WIN_H, w=WIN_W):
    return GENERATORS[kind](rng, n, h, w)
