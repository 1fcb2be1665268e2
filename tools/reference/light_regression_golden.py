#!/usr/bin/python3
"""Golden vectors of the LightRegression model, from the numpy reference.

Writes tests/light_regression/light_regression_golden.safetensors, read by
tests/light_regression/GoldenTest.cpp. Inputs are stored beside the expected
outputs (integer pixel values as exact float32), so the C++ test needs no
generator of its own. Regenerate after changing the model data:

    /usr/bin/python3 tools/reference/light_regression_golden.py

Contents:
  image/{black,white,random,gradient}   int pixel images [81][51][3] (0..255)
  unit_image                            float image [81][51][3] for network cases
  network/<group>_level<n>/features     [5] features; .../output [5] expected
                                        real_model_predict outputs, all 13 sets
  predict/<i>/args                      nblk[5], blk[5], lcm, mode, image index
  predict/<i>/unit                      unit calibration table [3][2][5]
  predict/<i>/{output,diff,gain}        expected outputs and correction vectors
  capture/<i>/pixels, .../output         end-to-end CNN lux delta on host captures;
  capture/<i>/args                      width, height, eye r g b, screen-hop mode,
                                        brightness, nblk[5], blk[5]
"""
import os
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(HERE, "..", "modeldata"))
import light_regression_ref as ref  # noqa: E402
import safetensors_io  # noqa: E402

OUT = os.path.join(ref.ROOT, "tests", "light_regression", "light_regression_golden.safetensors")
IMAGES = ["black", "white", "random", "gradient"]


def images(rng):
    rows, cols = np.meshgrid(np.arange(81), np.arange(51), indexing="ij")
    gradient = np.stack([rows * 255 // 80, cols * 255 // 50, (rows + cols) * 255 // 130], axis=-1)
    return {
        "black": np.zeros((81, 51, 3), dtype=np.int64),
        "white": np.full((81, 51, 3), 255, dtype=np.int64),
        "random": rng.integers(0, 256, size=(81, 51, 3)),
        "gradient": gradient.astype(np.int64),
    }


def main():
    rng = np.random.Generator(np.random.PCG64(20261122))
    weights, tables = ref.load()
    out = {}
    imgs = images(rng)
    for name, img in imgs.items():
        out[f"image/{name}"] = img.astype(np.float32)

    # The network on every weight set.
    unit_image = rng.uniform(0.0, 1.0, size=(81, 51, 3)).astype(np.float32)
    out["unit_image"] = unit_image
    for g, levels in (("mode1", 4), ("mode2", 4), ("other", 5)):
        mode = {"mode1": 1, "mode2": 2, "other": 0}[g]
        for level in range(1, levels + 1):
            feats = rng.uniform(0.0, 2.0, size=5).astype(np.float32)
            out[f"network/{g}_level{level}/features"] = feats
            out[f"network/{g}_level{level}/output"] = ref.network(weights, unit_image, feats, mode, level)

    other = tables["reference/other"]
    # A unit a little off the reference, inside the ratio window.
    unit_scaled = (other * np.array([1.08, 0.93, 1.15, 0.97, 1.04], dtype=np.float32)).astype(np.float32)
    unit_scaled[:, 1, :] *= np.float32(0.96)
    nblk = np.array([1450.0, 980.5, 1210.25, 640.0, 1390.75], dtype=np.float32)
    blk = np.array([420.0, 310.5, 1290.0, 150.25, 400.0], dtype=np.float32)  # channel 2: below zero
    cases = [
        # image, mode, lcm, unit table
        ("black", 0, 4701, other),
        ("white", 0, 7601, other),
        ("random", 0, 9000, unit_scaled),
        ("gradient", 0, 14063, unit_scaled),
        ("random", 1, 4701, other),        # mode 1 before any calibration: other / mode-1 ratios
        ("gradient", 1, 10000, unit_scaled),
        ("white", 1, 14063, unit_scaled),
        ("random", 2, 8016, other),
        ("gradient", 2, 11881, unit_scaled),
        ("black", 2, 9781, unit_scaled),
        ("random", 5, 12000, other),
        ("random", 1, 14064, other),       # outside the model: zeros
    ]
    for i, (img, mode, lcm, unit) in enumerate(cases):
        o, d, gn, _ = ref.predict(weights, tables, unit, imgs[img], nblk, blk, lcm, mode)
        out[f"predict/{i}/args"] = np.concatenate([nblk, blk, [lcm, mode, IMAGES.index(img)]]).astype(np.float32)
        out[f"predict/{i}/unit"] = unit
        out[f"predict/{i}/output"] = o
        out[f"predict/{i}/diff"] = d
        out[f"predict/{i}/gain"] = gn

    # End to end from a host capture: 43 x 112 (the capture area of the
    # reference panel) and one exactly the grid size.
    captures = [
        (43, 112, (0.875, 1.125, 0.75), 0, 9500),  # eye weights exact in float32
        (43, 112, (1.0, 1.0, 1.0), 1, 6000),
        (51, 81, (0.25, 0.5, 1.25), 2, 12500),
    ]
    for i, (w, h, eye, hop, br) in enumerate(captures):
        capture = rng.integers(0, 256, size=w * h * 3)
        o = ref.cnn_lux_delta(weights, tables, other, capture, w, h, eye, nblk, blk, br, hop)
        out[f"capture/{i}/pixels"] = capture.astype(np.float32)
        out[f"capture/{i}/args"] = np.concatenate([[w, h, eye[0], eye[1], eye[2], hop, br], nblk, blk]).astype(np.float32)
        out[f"capture/{i}/output"] = o
    safetensors_io.write(OUT, out, {"generator": "tools/reference/light_regression_golden.py",
                                    "weights": os.path.basename(ref.WEIGHTS), "tables": os.path.basename(ref.TABLES)})
    print(f"wrote {OUT}")
    for i in range(len(cases)):
        print(i, cases[i][0], cases[i][1], cases[i][2], out[f"predict/{i}/output"], out[f"predict/{i}/gain"])
    for i in range(len(captures)):
        print("capture", i, out[f"capture/{i}/output"])


if __name__ == "__main__":
    main()
