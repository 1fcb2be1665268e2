"""Golden vectors of the compiled-in networks computed by the PyTorch models.

Loads every weight set of the data files into the PyTorch networks of
tools/train/nets.py, runs them in float64 on deterministic inputs and writes
tests/tools/model_parity_golden.safetensors, which tests/tools/ModelParityTest.cpp
checks the library against (1e-5 relative). Inputs are not stored: the test
rebuilds them with the same generator (xorshift32 of the numpy reference). Regenerate after
replacing a data file:

    /usr/bin/python3 -m tools.train.parity

Tensors:
  lr/<set>/<k>/features [5], lr/<set>/<k>/output [5]   real_model_predict
      of set <set> on image kind k (0 noise, 1 dim noise, 2 bands), seed
      1000 + 10 x set index + k, with the float image value / 255.
  lc/<set>/<k>/args [lcm, mode], lc/<set>/<k>/output [4]   model_predict on
      patch kind k, seed 2000 + 10 x set index + k (outputs x band divisor).
"""
import os
import sys

import numpy as np
import torch

from tools.modeldata import safetensors_io
# The same xorshift32 stream as the numpy reference and the C++ test.
from tools.reference.lux_cnn_ref import XorShift
from . import data, layout, nets, train

OUT = os.path.join(train.ROOT, "tests", "tools", "model_parity_golden.safetensors")


def pixels(kind, seed, rows, cols):
    """int (rows, cols, 3): 0 noise, 1 noise / 16, 2 coloured bands with dark
    gaps (UI-like); the C++ test builds the same."""
    g = XorShift(seed)
    out = np.zeros((rows, cols, 3), np.int64)
    for r in range(rows):
        for c in range(cols):
            for ch in range(3):
                if kind == 2:
                    on = ((r // 7) + (c // 5)) % 3 != 0
                    out[r, c, ch] = ((r // 7) * 53 + (c // 5) * 29 + ch * 97 + seed) % 256 if on else 0
                else:
                    v = g.next() % 256
                    out[r, c, ch] = v // 16 if kind == 1 else v
    return out


def features(seed):
    """Five features in [0, 4): (next() >> 8) / 2^22."""
    g = XorShift(seed)
    return np.array([(g.next() >> 8) * 2.0 ** -22 for _ in range(5)], np.float32)


LC_CODES = [(100, 3104), (3105, 6104), (6105, 14063)]
LC_MODES = {0: (0, 3, 7), 1: (1, 1, 1), 2: (2, 2, 2)}


def main():
    torch.set_num_threads(1)
    lr_w, _ = safetensors_io.read(os.path.join(train.LR_DIR, train.LR_WEIGHTS))
    lc_w, _ = safetensors_io.read(os.path.join(train.LC_DIR, train.LC_WEIGHTS))
    lum = safetensors_io.read(os.path.join(train.LC_DIR, train.LC_TABLES))[0]["luminance"]
    out = {}
    for si, name in enumerate(layout.LIGHT_REGRESSION["sets"]):
        m = nets.load_set(nets.LightRegressionNet().double(), lr_w, name).eval()
        for k in range(3):
            seed = 1000 + 10 * si + k
            img = (pixels(k, seed, 81, 51).astype(np.float64) / 255.0).astype(np.float32)
            f = features(seed + 500)
            with torch.no_grad():
                y = m(torch.from_numpy(img.astype(np.float64).transpose(2, 0, 1))[None],
                      torch.from_numpy(f.astype(np.float64))[None])[0].numpy()
            out[f"lr/{name}/{k}/features"] = f
            out[f"lr/{name}/{k}/output"] = y.astype(np.float32)
    for si, (name, mode, band, _) in enumerate(data.lc_sets()):
        m = nets.load_set(nets.LuxCNNNet().double(), lc_w, name).eval()
        lo, hi = LC_CODES[band]
        for k in range(3):
            seed = 2000 + 10 * si + k
            lcm = lo + (hi - lo) * (k + 1) // 4
            divisor = data.LC_BANDS[band][2]
            level = np.float32(np.float32(lum[lcm]) / np.float32(divisor))
            x = np.empty((101, 101, 4), np.float32)
            x[..., :3] = (pixels(k, seed, 101, 101).astype(np.float64) / 255.0).astype(np.float32)
            x[..., 3] = level
            with torch.no_grad():
                y = m(torch.from_numpy(x.astype(np.float64).transpose(2, 0, 1))[None])[0].numpy() * divisor
            out[f"lc/{name}/{k}/args"] = np.array([lcm, LC_MODES[mode][k]], np.float32)
            out[f"lc/{name}/{k}/output"] = y.astype(np.float32)
    safetensors_io.write(OUT, out, {"generator": "tools/train/parity.py (PyTorch, float64)",
                                    "light_regression": train.LR_WEIGHTS, "lux_cnn": train.LC_WEIGHTS})
    print(f"wrote {OUT}")


if __name__ == "__main__":
    sys.exit(main())
