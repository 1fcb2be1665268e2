"""Simulated training data for both networks and the library's input and
output scaling, vectorised over frames (numpy only).

LightRegression sets are keyed by the model mode the library passes (1, 2,
0 for "other") and the brightness level; LuxCNN sets by display mode group
(0 for every mode other than 1 and 2) and brightness band.
"""
import numpy as np

from tools.sim import calibrate, factory, frames, model

# LightRegression brightness levels (first code, last code), level 1 first.
LR_LEVELS = {
    1: [(4701, 8015), (8016, 9780), (9781, 11880), (11881, 14063)],
    2: [(4701, 8015), (8016, 9780), (9781, 11880), (11881, 14063)],
    0: [(4701, 7600), (7601, 8015), (8016, 9780), (9781, 11880), (11881, 14063)],
}
# Host screen-hop state that makes each model mode.
HOP_OF_MODEL_MODE = {0: 2, 1: 1, 2: 0}
# LuxCNN bands: (first code, last code, divisor).
LC_BANDS = [(1, 3104, 28.9896), (3105, 6104, 122.4517), (6105, 14063, 780.4849)]
LC_DISPLAY_MODES = {0: (0, 3, 4, 5), 1: (1,), 2: (2,)}
# LuxCNN outputs r, g, b, c: columns of the c, r, g, b, w readings.
LC_CHANNELS = [1, 2, 3, 0]


def lr_set_name(model_mode, level):
    return f"{'other' if model_mode == 0 else f'mode{model_mode}'}/level{level}"


def lr_sets():
    """[(set name, model mode, level, (first code, last code))] in file order."""
    out = []
    for m in (1, 2, 0):
        for i, rng_ in enumerate(LR_LEVELS[m]):
            out.append((lr_set_name(m, i + 1), m, i + 1, rng_))
    return out


def lc_sets():
    return [(f"mode{m}/band{b}", m, b, LC_BANDS[b]) for m in range(3) for b in range(3)]


def lr_reference_tables():
    """{model mode: float32 (3, 2, 5)}: the reference unit's factory tables;
    group 0 is the emission-window reading the library calls "blk"."""
    return factory.lightregression_reference_tables()


def lr_calibration(grid, ref, cal):
    """The library's correction vectors for each frame (float64 arithmetic).

    grid (N, 81, 51, 3) integers; ref, cal (3, 2, 5). Returns (diff, gain),
    each (N, 5)."""
    n = grid.shape[0]
    sums = grid.reshape(n, -1, 3).sum(axis=1, dtype=np.int64) * 0.001 / 101.0
    mR, mG, mB = sums[:, 0:1], sums[:, 1:2], sums[:, 2:3]
    ref = np.asarray(ref, np.float64)
    cal = np.asarray(cal, np.float64)
    wG, wB = ref[1, 0] / ref[0, 0], ref[2, 0] / ref[0, 0]
    pG, pB = mG * wG, mB * wB
    pR = np.broadcast_to(mR, pG.shape)
    f = pR + pG + pB
    level = cal[:, 0] / ref[:, 0]                                   # (3, 5)
    dif = (cal[:, 0] - cal[:, 1]) / (ref[:, 0] - ref[:, 1])
    ok = np.all((level > 0.1) & (level < 5.0) & (dif > 0.1) & (dif < 5.0))
    lit = f > 0.001
    fs = np.where(lit, f, 1.0)
    gain = (pR * level[0] + pG * level[1] + pB * level[2]) / fs
    diff = (pR * dif[0] + pG * dif[1] + pB * dif[2]) / fs
    gain = np.where(lit, gain, 1.0)
    diff = np.where(lit, diff, 1.0)
    if not ok:
        gain[:] = 1.0
        diff[:] = 1.0
    return diff, gain


def lr_features(nblk, blk, diff):
    """(N, 5) network features: (nblk - blk) / 1000 / diff, negatives 0."""
    d = (nblk.astype(np.float32) - blk.astype(np.float32)).astype(np.float64)
    return np.maximum(d / 1000.0 / diff, 0.0).astype(np.float32)


def lr_generate(units, tables, model_mode, codes, n, rng, chunk=256):
    """n frames for one LightRegression set, spread over `units` (each with its
    factory table in `tables`), with network inputs and targets."""
    parts = []
    hop = HOP_OF_MODEL_MODE[model_mode]
    ref = lr_reference_tables()[model_mode]
    for start in range(0, n, chunk):
        m = min(chunk, n - start)
        ui = (start // chunk) % len(units)
        screen, labels = frames.draw_scenes(rng, m)
        cond = frames.sample_conditions(rng, m, codes=codes)
        cond["screen_hop_mode"] = np.full(m, hop, np.int8)
        b = frames.render(units[ui], screen, cond, rng)
        diff, gain = lr_calibration(b["sample_grid"], ref, tables[ui])
        parts.append({
            "grid": b["sample_grid"], "features": lr_features(b["nblk"], b["blk"], diff),
            "target": (b["screen_nblk"] / 1000.0 / gain).astype(np.float32),
            "gain": gain.astype(np.float32), "nblk": b["nblk"], "blk": b["blk"],
            "screen_nblk": b["screen_nblk"], "lux": b["lux"], "brightness": b["brightness"],
            "display_mode": b["display_mode"], "scene": labels, "illuminant": b["illuminant"],
            "unit": np.full(m, ui, np.int16),
        })
    return frames.concat(parts)


def lc_input(patch, codes, divisor):
    """(N, 101, 101, 4) float32 network input as the library forms it."""
    nits = calibrate.luminance_table()[np.clip(codes, 0, 14063)].astype(np.float32)
    nits = np.where(codes > 0, nits, np.float32(0.0))
    level = (nits / np.float32(divisor)).astype(np.float32)
    x = np.empty(patch.shape[:3] + (4,), np.float32)
    x[..., :3] = (patch.astype(np.float32) / np.float32(255.0))
    x[..., 3] = level[:, None, None]
    return x


def lc_generate(unit, mode_group, band, n, rng, chunk=256):
    """n noise-free frames of one LuxCNN set in the factory's timing (model
    mode 0): patches, brightness codes and targets (screen light / divisor)."""
    lo, hi, divisor = LC_BANDS[band]
    parts = []
    for start in range(0, n, chunk):
        m = min(chunk, n - start)
        screen, labels = frames.draw_scenes(rng, m)
        cond = frames.sample_conditions(rng, m, codes=(lo, hi), modes=LC_DISPLAY_MODES[mode_group])
        cond["screen_hop_mode"] = np.full(m, HOP_OF_MODEL_MODE[0], np.int8)
        b = frames.render(unit, screen, cond, None)
        parts.append({
            "patch": b["patch"], "brightness": b["brightness"],
            "target": (b["screen_nblk"][:, LC_CHANNELS] / divisor).astype(np.float32),
            "scene": labels, "display_mode": b["display_mode"],
        })
    return frames.concat(parts)


def training_units(seed, count):
    """The reference unit and `count` varied units, with their noise-free
    factory tables (model mode 0, as the factory measures)."""
    units = [model.reference_unit()] + [model.make_unit(seed, i) for i in range(count)]
    return units, [factory.lightregression_factory(u) for u in units]
