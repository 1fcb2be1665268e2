#!/usr/bin/python3
"""Writes the provisional LightRegression model data. NOT A TRAINED MODEL.

No trained weights exist in this repository yet. Until they arrive, the build
compiles in the data this script writes, so that the code, the tests and the
benchmarks have a complete, deterministic model to run on:

  models/light_regression/data/light_regression_untrained_seed1234.safetensors
      Thirteen weight sets (mode1/level1..4, mode2/level1..4, other/level1..5),
      drawn with numpy's PCG64 generator seeded with SEED: He-normal kernels
      (standard deviation sqrt(2 / fan_in)), biases uniform in [0.01, 0.1] so
      that the ReLU outputs are not all zero. Predictions made with them mean
      nothing.

  models/light_regression/data/light_regression_reference_tables_placeholder.safetensors
      The three calibration reference tables [colour r,g,b][group blk,nblk]
      [channel c,r,g,b,w]. The red "blk" row of the other modes and red "blk"
      channel 0 of modes 1 and 2 are the reference unit's known values; every
      other entry is a placeholder of the same magnitude, with "blk" above
      "nblk" everywhere.

Both files carry "__metadata__" saying so. Tensor names and shapes are listed
in models/README.md and checked by the build against the manifests beside the
data. Run from the repository root:

    /usr/bin/python3 tools/modeldata/make_light_regression_data.py

The output is byte-for-byte reproducible; after regenerating, run
tools/reference/light_regression_golden.py so that the golden vectors follow.
"""
import os
import sys

import numpy as np

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import safetensors_io  # noqa: E402

SEED = 1234
OUT_DIR = "models/light_regression/data"
WEIGHTS_FILE = f"light_regression_untrained_seed{SEED}.safetensors"
TABLES_FILE = "light_regression_reference_tables_placeholder.safetensors"

# (layer, kernel shape); the bias has the kernel's last dimension.
LAYERS = [
    ("layer1", (3, 3, 3, 32)),
    ("layer3", (3, 3, 32, 32)),
    ("layer5", (3, 3, 32, 32)),
    ("layer9", (96, 32)),
    ("layer10", (5, 32)),
    ("layer12", (64, 5)),
]
SETS = [f"mode1/level{i}" for i in range(1, 5)] + [f"mode2/level{i}" for i in range(1, 5)] + \
       [f"other/level{i}" for i in range(1, 6)]


def weights():
    rng = np.random.Generator(np.random.PCG64(SEED))
    out = {}
    for s in SETS:
        for layer, shape in LAYERS:
            fan_in = int(np.prod(shape[:-1]))
            out[f"{s}/{layer}/kernel"] = rng.normal(0.0, np.sqrt(2.0 / fan_in), size=shape).astype(np.float32)
            out[f"{s}/{layer}/bias"] = rng.uniform(0.01, 0.1, size=shape[-1]).astype(np.float32)
    return out


# Channel order c, r, g, b, w. Rows: colour of the test pattern.
OTHER_BLK = [
    [2467.453, 5863.13, 778.103, 277.602, 2363.587],  # red (reference unit)
    [2911.26, 912.47, 6104.85, 1318.92, 2805.31],      # green (placeholder)
    [1893.74, 402.18, 1488.06, 5187.45, 1802.66],      # blue (placeholder)
]
# Placeholder share of "blk" that "nblk" keeps, per colour and channel.
NBLK_SHARE = [
    [0.62, 0.64, 0.58, 0.55, 0.61],
    [0.60, 0.57, 0.63, 0.59, 0.62],
    [0.59, 0.54, 0.58, 0.65, 0.60],
]
# Placeholder scale of modes 1 and 2 against the other modes, per colour and
# channel; red channel 0 is pinned to the reference unit's value below.
MODE_SCALE = {
    "mode1": [[1.0, 1.092, 1.105, 1.121, 1.098], [1.087, 1.101, 1.095, 1.112, 1.090],
              [1.094, 1.118, 1.103, 1.099, 1.106]],
    "mode2": [[1.0, 1.047, 1.061, 1.055, 1.049], [1.052, 1.044, 1.058, 1.063, 1.050],
              [1.046, 1.059, 1.051, 1.048, 1.057]],
}
RED_BLK_C = {"mode1": 2729.874, "mode2": 2596.196}


def tables():
    other_blk = np.array(OTHER_BLK, dtype=np.float64)
    out = {}
    for name in ("mode1", "mode2", "other"):
        blk = other_blk.copy() if name == "other" else np.round(other_blk * np.array(MODE_SCALE[name]), 3)
        if name in RED_BLK_C:
            blk[0, 0] = RED_BLK_C[name]
        nblk = np.round(blk * np.array(NBLK_SHARE), 3)
        t = np.stack([blk, nblk], axis=1).astype(np.float32)  # [colour][group][channel]
        assert np.all(t[:, 0, :] > t[:, 1, :])
        out[f"reference/{name}"] = t
    return out


def main():
    os.makedirs(OUT_DIR, exist_ok=True)
    note = "UNTRAINED: He-normal kernels and uniform [0.01, 0.1] biases from a fixed seed; " \
           "predictions are meaningless until trained weights replace this file"
    safetensors_io.write(os.path.join(OUT_DIR, WEIGHTS_FILE), weights(),
                         {"untrained": "true", "seed": SEED, "generator": "tools/modeldata/make_light_regression_data.py",
                          "note": note})
    safetensors_io.write(os.path.join(OUT_DIR, TABLES_FILE), tables(),
                         {"placeholder": "true", "generator": "tools/modeldata/make_light_regression_data.py",
                          "note": "reference unit values only where known (red blk of the other modes, red blk "
                                  "channel 0 of modes 1 and 2); the rest are placeholders"})


if __name__ == "__main__":
    main()
