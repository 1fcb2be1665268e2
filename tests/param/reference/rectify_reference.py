#!/usr/bin/python3
"""Independent reference for the rectification polynomial and its weighted form.

    /usr/bin/python3 tests/param/reference/rectify_reference.py > tests/param/data/rectify_golden.json

Builds the 56 terms from their rule (every a + k <= 4 for one colour and the
brightness, then the thirteen cross terms), evaluates with numpy in float64,
and writes inputs and expected outputs for the C++ tests. Seeded: the output
is the same on every run.
"""

import json
from decimal import Decimal, ROUND_HALF_UP

import numpy as np

PAIRS = [(a, k) for k in range(5) for a in range(5) if a + k <= 4]
TERMS = ([(a, 0, 0, k) for a, k in PAIRS]
         + [(0, a, 0, k) for a, k in PAIRS if (a, k) != (0, 0)]
         + [(0, 0, a, k) for a, k in PAIRS if (a, k) != (0, 0)]
         + [(1, 1, 0, 1), (0, 1, 1, 1), (1, 0, 1, 1), (2, 1, 0, 1), (1, 2, 0, 1), (1, 1, 0, 2),
            (0, 1, 2, 1), (0, 2, 1, 1), (0, 1, 1, 2), (2, 0, 1, 1), (1, 0, 2, 1), (1, 0, 1, 2),
            (1, 1, 1, 1)])
EXP = np.array(TERMS, dtype=np.float64)
assert EXP.shape == (56, 4)
KEYS = ("red", "green", "blue", "ir")


def make_info(rng, sections, golden, scale):
    info = {"goldenValue": golden, "paramSection": sections}
    for key in KEYS:
        # Coefficients sized so that every term matters at r, g, b ~ 100 and br ~ 1000.
        mags = 1.0 / (100.0 ** EXP[:, :3].sum(axis=1) * 1000.0 ** EXP[:, 3])
        info[key] = (rng.uniform(-1.0, 1.0, size=(56, 7)) * mags[:, None] * scale).tolist()
    return info


def section_of(info, br):
    for i, bound in enumerate(info["paramSection"]):
        if bound >= br:
            return i
    return 6


def evaluate(info, r, g, b, br):
    """Clamped deltas and golden value, or None when nothing is evaluated."""
    if r == 0 and g == 0 and b == 0:
        return None
    s = section_of(info, br)
    base = np.array([r, g, b, br], dtype=np.float64)
    terms = np.prod(base[None, :] ** EXP, axis=1)
    out = []
    for key in KEYS:
        total = float(np.sum(terms * np.array(info[key])[:, s]))
        out.append(total if total > 0.0 else 0.0)
    return out, info["goldenValue"][s]


def round_half_away(x):
    return int(Decimal(x).quantize(Decimal(1), rounding=ROUND_HALF_UP))


def weighted(info, grid, pixels, width, height, ratio, br):
    rows = len(grid)
    if rows < 1:
        return [0.0] * 4
    cols = len(grid[0])
    golden = 1
    sums = [0.0] * 4
    for i in range(rows):
        for j in range(min(cols, len(grid[i]))):
            w = np.float32(grid[i][j])
            if not w > 0:
                continue
            y = (height * i) // rows
            x = (j * width) // cols
            p = 3 * (y * width + x)
            r, g, b = (round_half_away(pixels[p + c] * ratio[c]) for c in range(3))
            cell = [0.0] * 4
            res = evaluate(info, r, g, b, br) if info is not None else None
            if res is not None:
                cell, golden = res
            for c in range(4):
                sums[c] += cell[c] / golden * float(w)
    return sums


def main():
    rng = np.random.default_rng(424242)
    infos = [
        make_info(rng, [100, 300, 700, 1500, 4000, 9000], [500, 600, 700, 800, 900, 1000, 1100], 50.0),
        make_info(rng, [10, 20, 30, 40, 50, 60], [3, 5, 7, 11, 13, 17, 19], 5.0),
        # All coefficients negative: every sum clamps to +0.0.
        {**make_info(rng, [100, 200, 300, 400, 500, 600], [1, 1, 1, 1, 1, 1, 1], 1.0)},
    ]
    for key in KEYS:
        infos[2][key] = (-np.abs(np.array(infos[2][key]))).tolist()

    cases = []
    inputs = [(0, 0, 0, 500), (1, 0, 0, 0), (0, 0, 7, 100), (100, 120, 90, 300), (255, 255, 255, 14063),
              (12, 200, 40, 301), (128, 128, 128, 9000), (128, 128, 128, 9001), (3, 2, 1, 700), (250, 1, 9, 1)]
    for n in range(len(infos)):
        for (r, g, b, br) in inputs + [tuple(int(v) for v in rng.integers(0, 256, 3)) + (int(rng.integers(0, 14064)),)
                                       for _ in range(6)]:
            res = evaluate(infos[n], r, g, b, br)
            cases.append({"info": n, "r": r, "g": g, "b": b, "br": br,
                          "evaluated": res is not None,
                          "delta": res[0] if res else [0.0] * 4,
                          "golden": res[1] if res else 0})

    weighted_cases = []
    width, height = 10, 6
    pixels = [int(v) for v in rng.integers(0, 256, width * height * 3)]
    for p in (0, 3 * (3 * width + 5)):  # two black pixels that the grid samples
        pixels[p:p + 3] = [0, 0, 0]
    grids = [
        [[1.0, 0.5], [0.25, 2.0]],
        [[0.0, 0.3, -1.0, 0.7], [0.5, 0.5, 0.5, 0.5], [1.5, 0.0, 0.25, 0.125]],
        [[0.75, 0.5, 1.0], [0.25, 0.5, 1.0, 3.0, 4.0]],
    ]
    for n, info in enumerate(infos[:2]):
        for grid in grids:
            for ratio in ([1.0, 1.0, 1.0], [0.5, 1.5, 0.9]):
                br = 650 if n == 0 else 35
                weighted_cases.append({"info": n, "grid": grid, "ratio": ratio, "br": br,
                                       "delta": weighted(info, grid, pixels, width, height, ratio, br)})
    out = {"comment": "generated by tests/param/reference/rectify_reference.py",
           "infos": infos, "cases": cases,
           "width": width, "height": height, "pixels": pixels, "weighted": weighted_cases}
    print(json.dumps(out))


if __name__ == "__main__":
    main()
