"""Frames as the library receives them, with the truth for training.

`render` turns rendered windows plus panel state and ambient into a frame
batch; `generate` draws scenes and conditions and renders them in chunks.
A frame batch is a dict of numpy arrays with a leading frame axis:

  capture        uint8 (N, 80, 50, 3)   host capture of CAPTURE_SCOPE (H x W)
  sample_grid    uint8 (N, 81, 51, 3)   the library's sample grid of the capture
  patch          uint8 (N, 101, 101, 3) LuxCNN patch at PATCH_ORIGIN
  brightness     int32 (N,)             brightness code 0..14063
  nits           float32 (N,)           luminance table value of the code
  display_mode   int8 (N,)              0..5
  screen_hop_mode int8 (N,)             host screenHopMode (0, 1, 2)
  model_mode     int8 (N,)              mode the library passes to LightRegression
  acl            int8 (N,)              host ACL level 0..3
  dc_state       int8 (N,)              1: DC dimming
  illuminant     int8 (N,)              index into ILLUMINANTS
  lux            float32 (N,)           true ambient illuminance
  nblk, blk      float32 (N, 5)         readings c, r, g, b, w (noisy unless noise=False)
  screen_nblk    float32 (N, 5)         true screen contribution to nblk
  screen_blk     float32 (N, 5)         true screen contribution to blk
  ambient        float32 (N, 5)         true ambient contribution (flicker-free)
  scene          int8 (N,)              index into SCENE_KINDS
  unit           int16 (N,)             unit index
  screen         uint8 (N, 176, 180, 3) the rendered window (keep_screen=True only)
"""

import numpy as np

from . import calibrate
from . import constants as K
from . import model
from . import scenes

CAP_L, CAP_T, CAP_R, CAP_B = K.CAPTURE_SCOPE
CAPTURE_W, CAPTURE_H = CAP_R - CAP_L, CAP_B - CAP_T


def crop(screen, left, top, width, height):
    """Panel-coordinate crop of rendered windows (N, H, W, 3)."""
    x, y = left - K.WINDOW[0], top - K.WINDOW[1]
    return screen[:, y:y + height, x:x + width]


def capture_of(screen):
    return crop(screen, CAP_L, CAP_T, CAPTURE_W, CAPTURE_H)


def patch_of(screen):
    return crop(screen, K.PATCH_ORIGIN[0], K.PATCH_ORIGIN[1], K.PATCH_SIZE, K.PATCH_SIZE)


def sample_grid(capture, eye=(1.0, 1.0, 1.0)):
    """The library's sample grid of host captures (N, H, W, 3): top-left pixel
    of each of 81 x 51 cells, times the eye parameters, rounded half away from
    zero. int32 (N, 81, 51, 3)."""
    capture = np.asarray(capture)
    h, w = capture.shape[1], capture.shape[2]
    rows = (np.arange(K.SAMPLE_ROWS) * h) // K.SAMPLE_ROWS
    cols = (np.arange(K.SAMPLE_COLS) * w) // K.SAMPLE_COLS
    grid = capture[:, rows][:, :, cols]
    if tuple(eye) == (1.0, 1.0, 1.0):
        return grid.astype(np.int32)
    grid = grid.astype(np.float64) * np.asarray(eye, float)
    return (np.sign(grid) * np.floor(np.abs(grid) + 0.5)).astype(np.int32)


def luxcnn_input(patch):
    """int32 (N, 101, 101, 4) as LuxCNN::model_predict takes it (channel 3 zero)."""
    patch = np.asarray(patch)
    out = np.zeros(patch.shape[:3] + (4,), np.int32)
    out[..., :3] = patch
    return out


def capture_vector(capture):
    """One capture as the host's flat int vector (r, g, b per pixel, row-major)."""
    return np.asarray(capture, np.int32).reshape(-1)


def sample_conditions(rng, n, codes=(0, K.MAX_CODE), modes=tuple(range(6)),
                      illuminants=tuple(range(len(K.ILLUMINANTS))), lux=(0.0, K.LUX_MAX),
                      dark_fraction=0.1):
    """Random panel state and ambient light for n frames (dict of arrays).

    Codes uniform in the range; lux log-uniform from max(lux[0], 0.1) with a
    share of exact darkness; DC dimming on for half the frames below
    DC_DIMMING_MAX_CODE."""
    code = rng.integers(codes[0], codes[1] + 1, n).astype(np.int32)
    lo = max(lux[0], 0.1)
    lx = np.exp(rng.uniform(np.log(lo), np.log(max(lux[1], lo)), n))
    lx[rng.random(n) < dark_fraction] = 0.0
    if lux[0] > 0:
        lx = np.maximum(lx, lux[0])
    dc = ((code < K.DC_DIMMING_MAX_CODE) & (rng.random(n) < 0.5)).astype(np.int8)
    return {
        "brightness": code,
        "display_mode": rng.choice(np.asarray(modes), n).astype(np.int8),
        "screen_hop_mode": rng.integers(0, 3, n).astype(np.int8),
        "acl": rng.choice(np.arange(4), n, p=[0.2, 0.5, 0.15, 0.15]).astype(np.int8),
        "dc_state": dc,
        "illuminant": rng.choice(np.asarray(illuminants), n).astype(np.int8),
        "lux": lx.astype(np.float32),
    }


def render(unit, screen, cond, rng=None, keep_screen=False):
    """Frame batch of rendered windows under the given conditions.

    cond: dict with brightness, display_mode, screen_hop_mode, acl, dc_state,
    illuminant, lux (arrays of length N). rng None: noise-free readings."""
    screen = np.asarray(screen, np.uint8)
    n = screen.shape[0]
    c = {k: np.broadcast_to(np.asarray(v), (n,)) for k, v in cond.items()}
    s, power = model.spot_drive(unit, screen, c["display_mode"])
    lum = model.subpixel_luminance(s, power, c["brightness"], c["display_mode"], c["acl"])
    sn, sb = model.screen_counts(unit, lum, c["screen_hop_mode"], c["dc_state"])
    amb = model.ambient_counts(unit, c["illuminant"], c["lux"])
    nblk, blk = model.readings(sn, sb, amb, c["illuminant"], rng)
    cap = capture_of(screen)
    out = {
        "capture": np.ascontiguousarray(cap),
        "sample_grid": sample_grid(cap).astype(np.uint8),
        "patch": np.ascontiguousarray(patch_of(screen)),
        "brightness": c["brightness"].astype(np.int32),
        "nits": calibrate.luminance_table()[np.clip(c["brightness"], 0, K.MAX_CODE)],
        "display_mode": c["display_mode"].astype(np.int8),
        "screen_hop_mode": c["screen_hop_mode"].astype(np.int8),
        "model_mode": model.model_mode(c["screen_hop_mode"]).astype(np.int8),
        "acl": c["acl"].astype(np.int8),
        "dc_state": c["dc_state"].astype(np.int8),
        "illuminant": c["illuminant"].astype(np.int8),
        "lux": c["lux"].astype(np.float32),
        "nblk": nblk.astype(np.float32),
        "blk": blk.astype(np.float32),
        "screen_nblk": sn.astype(np.float32),
        "screen_blk": sb.astype(np.float32),
        "ambient": amb.astype(np.float32),
        "unit": np.full(n, unit.index, np.int16),
    }
    if keep_screen:
        out["screen"] = screen.copy()
    return out


def draw_scenes(rng, n, kinds=scenes.SCENE_KINDS, weights=None):
    """n windows of the given scene kinds (video frames come in clip order)."""
    kinds = tuple(kinds)
    pick = rng.choice(len(kinds), n, p=weights)
    counts = np.bincount(pick, minlength=len(kinds))
    parts, labels = [], []
    for i, k in enumerate(kinds):
        if counts[i]:
            parts.append(scenes.generate(k, rng, int(counts[i])))
            labels.append(np.full(counts[i], scenes.SCENE_KINDS.index(k), np.int8))
    return np.concatenate(parts), np.concatenate(labels)


def generate(unit, n, rng, kinds=scenes.SCENE_KINDS, weights=None, chunk=256,
             noise=True, keep_screen=False, **condition_ranges):
    """n random frames of one unit: scenes and conditions drawn from rng,
    rendered chunk by chunk. condition_ranges go to sample_conditions."""
    batches = []
    for start in range(0, n, chunk):
        m = min(chunk, n - start)
        screen, labels = draw_scenes(rng, m, kinds, weights)
        cond = sample_conditions(rng, m, **condition_ranges)
        b = render(unit, screen, cond, rng if noise else None, keep_screen)
        b["scene"] = labels
        batches.append(b)
    return concat(batches)


def concat(batches):
    return {k: np.concatenate([b[k] for b in batches]) for k in batches[0]}
