"""Independent numpy reference of the LightRegression model and the project CNN
lux delta.

Reads the same data files as the build (tools/modeldata/safetensors_io.py) and
computes, without sharing code with the library:
  - network(): the forward pass, layer by layer from the layer table, in
    float64 (tools/reference/nn_ref.py);
  - calibration(): the two correction vectors, modelling each rounding step
    with numpy float32/float64 scalars;
  - predict(): the whole driver (level table, corrections, input scaling,
    network, output scaling);
  - cnn_lux_delta(): sampling of a host capture and the screen-hop code.
Used by light_regression_golden.py.
"""
import os
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(HERE, "..", "modeldata"))
import nn_ref  # noqa: E402
import safetensors_io  # noqa: E402

f32, f64 = np.float32, np.float64
ROOT = os.path.normpath(os.path.join(HERE, "..", ".."))
DATA = os.path.join(ROOT, "models", "light_regression", "data")
WEIGHTS = os.path.join(DATA, "light_regression_trained_sim_v1.safetensors")
TABLES = os.path.join(DATA, "light_regression_reference_tables_sim_v1.safetensors")

# Brightness levels: (first code, last code) per level, level 1 first.
LEVELS_MODE12 = [(4701, 8015), (8016, 9780), (9781, 11880), (11881, 14063)]
LEVELS_OTHER = [(4701, 7600), (7601, 8015), (8016, 9780), (9781, 11880), (11881, 14063)]


def load():
    weights, _ = safetensors_io.read(WEIGHTS)
    tables, _ = safetensors_io.read(TABLES)
    return weights, tables


def group(mode):
    return f"mode{mode}" if mode in (1, 2) else "other"


def level_of(lcm, mode):
    """0 when the code is outside every level."""
    for i, (lo, hi) in enumerate(LEVELS_MODE12 if mode in (1, 2) else LEVELS_OTHER):
        if lo <= lcm <= hi:
            return i + 1
    return 0


def network(weights, image, features, mode, level):
    """image [81][51][3] float32, features [5] float32 -> five float64 outputs."""
    w = lambda layer, kind: weights[f"{group(mode)}/level{level}/{layer}/{kind}"]  # noqa: E731
    x = nn_ref.relu(nn_ref.conv2d_valid(image, w("layer1", "kernel"), w("layer1", "bias"), 2))  # 40x25x32
    x = nn_ref.maxpool2x2(x)                                                                   # 20x12x32
    x = nn_ref.relu(nn_ref.conv2d_valid(x, w("layer3", "kernel"), w("layer3", "bias"), 1))      # 18x10x32
    x = nn_ref.maxpool2x2(x)                                                                   # 9x5x32
    x = nn_ref.relu(nn_ref.conv2d_valid(x, w("layer5", "kernel"), w("layer5", "bias"), 1))      # 7x3x32
    x = nn_ref.maxpool2x2(x)                                                                   # 3x1x32
    flat = x.reshape(-1)                                                                       # 96, row-major
    a = nn_ref.relu(nn_ref.dense(flat, w("layer9", "kernel"), w("layer9", "bias")))
    b = nn_ref.relu(nn_ref.dense(features, w("layer10", "kernel"), w("layer10", "bias")))
    return nn_ref.relu(nn_ref.dense(np.concatenate([a, b]), w("layer12", "kernel"), w("layer12", "bias")))


def in_window(v):
    return bool(f64(v) > 0.1 and f64(v) < 5.0)


def calibration(tables, unit, image, mode):
    """Returns (color_k_diff, color_k_nblk) as float32 arrays."""
    ref = tables[f"reference/{group(mode)}"]
    img = np.asarray(image, dtype=np.int64)
    # The tuned corrections divide the sums by 101, not by the pixel count.
    sums = [f64(0.0)] * 3
    for c in range(3):
        s = f64(0.0)
        for v in img[:, :, c].reshape(-1):  # the same order as the sums of the service
            s += f64(v) * f64(0.001)
        sums[c] = s
    mR, mG, mB = (s / f64(101.0) for s in sums)
    diff = np.ones(5, dtype=f32)
    gain = np.ones(5, dtype=f32)
    for k in range(5):
        refR, refG, refB = f32(ref[0, 0, k]), f32(ref[1, 0, k]), f32(ref[2, 0, k])
        wG, wB = f32(refG / refR), f32(refB / refR)
        pR, pG, pB = f32(mR), f32(mG * f64(wG)), f32(mB * f64(wB))
        F = f32(f32(pR + pG) + pB)
        if not f64(F) > 0.001:
            continue
        r = [f32(f32(unit[c, 0, k]) / f32(ref[c, 0, k])) for c in range(3)]
        d = [f32(f32(f32(unit[c, 0, k]) - f32(unit[c, 1, k])) / f32(f32(ref[c, 0, k]) - f32(ref[c, 1, k])))
             for c in range(3)]
        if not all(in_window(v) for v in r + d):
            return np.ones(5, dtype=f32), np.ones(5, dtype=f32)
        fR, fG, fB = f32(pR / F), f32(pG / F), f32(pB / F)
        gain[k] = f32(f32(f32(fR * r[0]) + f32(fG * r[1])) + f32(fB * r[2]))
        diff[k] = f32(f32(f32(fR * d[0]) + f32(fG * d[1])) + f32(fB * d[2]))
    return diff, gain


def predict(weights, tables, unit, image, nblk, blk, lcm, mode):
    """The driver: returns (outputs float32[5], diff, gain, level); the
    corrections are those of the image and mode even when the code is outside
    the model (the driver then skips them)."""
    level = level_of(lcm, mode)
    diff, gain = calibration(tables, unit, image, mode)
    if level == 0:
        return np.zeros(5, dtype=f32), diff, gain, 0
    fimage = (np.asarray(image, dtype=f64) / 255.0).astype(f32)
    feats = np.zeros(5, dtype=f32)
    for k in range(5):
        d = f32(f32(nblk[k]) - f32(blk[k]))
        x = f32(f64(d) / 1000.0 / f64(diff[k]))
        feats[k] = x if x >= 0 else f32(0.0)
    net = network(weights, fimage, feats, mode, level)
    out = np.array([f32(f64(f32(net[k])) * 1000.0 * f64(gain[k])) for k in range(5)], dtype=f32)
    return out, diff, gain, level


def round_half_away(v):
    r = np.floor(abs(v) + 0.5)
    return int(-r if v < 0 else r)


def sample_capture(capture, width, height, eye):
    """capture: flat ints (row-major, r g b per pixel) -> int [81][51][3]."""
    grid = np.zeros((81, 51, 3), dtype=np.int64)
    for i in range(81):
        row = (i * height) // 81
        for j in range(51):
            col = (j * width) // 51
            idx = (row * width + col) * 3
            for k in range(3):
                grid[i, j, k] = round_half_away(f64(capture[idx + k]) * f64(eye[k]))
    return grid


def hop_code(screen_hop_mode):
    return {0: 2, 1: 1}.get(screen_hop_mode, 0)


def cnn_lux_delta(weights, tables, unit, capture, width, height, eye, nblk, blk, br, screen_hop_mode):
    grid = sample_capture(capture, width, height, eye)
    out, _, _, _ = predict(weights, tables, unit, grid, nblk, blk, br, hop_code(screen_hop_mode))
    return out
