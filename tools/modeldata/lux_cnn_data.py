#!/usr/bin/python3
"""Writes the LuxCNN model data (run from the repository root):

  models/lux_cnn/data/lux_cnn_tables.safetensors
      luminance            [14064]     panel luminance (nits) per brightness code
      mode{0,1,2}/weight_map [101][101] default pixel weight map of each display mode
  models/lux_cnn/data/lux_cnn_untrained_seed20261122.safetensors
      mode{0,1,2}/band{0,1,2}/{conv0,conv1,conv2}/{kernel,bias},
      .../{dense1,dense2}/{matrix,bias}   the nine weight sets

None of this is measured or trained data:

* Luminance table. The panel is known at six codes only (0.0 at 0, 0.0001 at
  1, 2.0 at 4, 28.9896 at 3104, 122.4517 at 6104, 780.4849 at 14063). Between
  them the table follows a monotone cubic (Fritsch-Carlson) through those
  anchors in log(code)/log(nits) space, i.e. a smooth chain of local power
  laws, which is how OLED brightness codes map to luminance. The anchors are
  stored exactly (as float32) and the table rises strictly from code 1 on.
* Weight maps. An elliptical Gaussian spot (sigma 9.0 columns x 7.5 rows)
  whose centre is the mode's reference sensor centre in patch coordinates,
  taking the patch's column 50, row 50 as screen pixel (826, 84): e.g. mode 0's
  reference (826.04, 83.77) puts the spot at column 50.04, row 49.77. Each map
  sums to 1.0.
* Weight sets. He-normal kernels and matrices (std sqrt(2 / fan_in)) from
  numpy's default_rng(SEED), small positive biases so that the ReLU outputs
  are not all zero. They are UNTRAINED placeholders that exercise the network
  until trained sets are delivered; the file name and its metadata say so.
"""
import os
import sys

import numpy as np

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import safetensors_io  # noqa: E402

SEED = 20261122
ANCHORS = [(1, 0.0001), (4, 2.0), (3104, 28.9896), (6104, 122.4517), (14063, 780.4849)]
CODES = 14064
REFERENCE_CENTRES = [(826.04, 83.77), (825.78, 84.01), (825.19, 84.39)]
PATCH_ORIGIN = (826.0 - 50.0, 84.0 - 50.0)  # screen position of column 0, row 0
SIGMA_COLUMNS, SIGMA_ROWS = 9.0, 7.5

WEIGHT_SET = [  # name, shape, fan_in (None: bias)
    ("conv0/kernel", (3, 3, 4, 32), 36), ("conv0/bias", (32,), None),
    ("conv1/kernel", (3, 3, 32, 32), 288), ("conv1/bias", (32,), None),
    ("conv2/kernel", (3, 3, 32, 32), 288), ("conv2/bias", (32,), None),
    ("dense1/matrix", (512, 32), 512), ("dense1/bias", (32,), None),
    ("dense2/matrix", (32, 4), 32), ("dense2/bias", (4,), None),
]


def pchip_slopes(x, y):
    """Fritsch-Carlson slopes of a monotone piecewise cubic through (x, y)."""
    h = np.diff(x)
    d = np.diff(y) / h
    m = np.zeros_like(y)
    m[0], m[-1] = d[0], d[-1]
    for k in range(1, len(x) - 1):
        if d[k - 1] * d[k] <= 0:
            m[k] = 0.0
        else:
            w1, w2 = 2 * h[k] + h[k - 1], h[k] + 2 * h[k - 1]
            m[k] = (w1 + w2) / (w1 / d[k - 1] + w2 / d[k])
    return m


def pchip(x, y, t):
    m = pchip_slopes(x, y)
    k = np.clip(np.searchsorted(x, t, side="right") - 1, 0, len(x) - 2)
    h = x[k + 1] - x[k]
    s = (t - x[k]) / h
    h00, h10 = 2 * s**3 - 3 * s**2 + 1, s**3 - 2 * s**2 + s
    h01, h11 = -2 * s**3 + 3 * s**2, s**3 - s**2
    return h00 * y[k] + h10 * h * m[k] + h01 * y[k + 1] + h11 * h * m[k + 1]


def luminance_table():
    lx = np.log([c for c, _ in ANCHORS])
    ly = np.log([v for _, v in ANCHORS])
    codes = np.arange(1, CODES, dtype=np.float64)
    table = np.zeros(CODES, dtype=np.float64)
    table[1:] = np.exp(pchip(lx, ly, np.log(codes)))
    table = table.astype(np.float32)
    table[0] = 0.0
    for c, v in ANCHORS:
        table[c] = np.float32(v)
    if not np.all(np.diff(table) > 0):
        raise SystemExit("luminance table does not rise strictly")
    return table


def weight_map(centre):
    cx, cy = centre[0] - PATCH_ORIGIN[0], centre[1] - PATCH_ORIGIN[1]
    cols = np.arange(101, dtype=np.float64)
    u = (cols[None, :] - cx) / SIGMA_COLUMNS
    v = (cols[:, None] - cy) / SIGMA_ROWS
    w = np.exp(-0.5 * (u * u + v * v))
    return (w / w.sum()).astype(np.float32)  # [row][column]


def untrained_weights(seed=SEED):
    rng = np.random.default_rng(seed)
    out = {}
    for mode in range(3):
        for band in range(3):
            for name, shape, fan_in in WEIGHT_SET:
                if fan_in is None:
                    v = np.full(shape, 0.05 if name.startswith("dense2") else 0.01)
                else:
                    v = rng.normal(0.0, np.sqrt(2.0 / fan_in), shape)
                out[f"mode{mode}/band{band}/{name}"] = v.astype(np.float32)
    return out


def main():
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
    folder = os.path.join(root, "models", "lux_cnn", "data")
    tables = {"luminance": luminance_table()}
    for mode, centre in enumerate(REFERENCE_CENTRES):
        tables[f"mode{mode}/weight_map"] = weight_map(centre)
    safetensors_io.write(os.path.join(folder, "lux_cnn_tables.safetensors"), tables, {
        "content": "luminance: monotone curve through six known panel codes; weight maps: Gaussian spots",
        "generator": "tools/modeldata/lux_cnn_data.py"})
    safetensors_io.write(os.path.join(folder, f"lux_cnn_untrained_seed{SEED}.safetensors"), untrained_weights(), {
        "content": f"UNTRAINED fixed-seed (numpy default_rng({SEED})) He-normal initial weights",
        "generator": "tools/modeldata/lux_cnn_data.py"})


if __name__ == "__main__":
    main()
