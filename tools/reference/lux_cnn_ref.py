#!/usr/bin/python3
"""Independent numpy reference of the LuxCNN network, its prediction driver and
its calibration, for the golden vectors of tests/lux_cnn/.

The network runs in float64 (tools/reference/nn_ref.py) on the float32 inputs
the driver prepares; the calibration follows the float32/float64 steps of
each quantity. Test patterns and test weights come from a 32-bit xorshift
generator that the C++ tests reimplement (tests/lux_cnn/TestPatterns.h), so only
results need to be checked in.

Run from the repository root:
  /usr/bin/python3 tools/reference/lux_cnn_ref.py
writes tests/lux_cnn/LuxCNNGolden.inc, LuxCNNCalibrationGolden.inc and
lux_cnn_layers_golden.safetensors.
"""
import os
import sys

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "..", "..")
sys.path.insert(0, HERE)
sys.path.insert(0, os.path.join(ROOT, "tools", "modeldata"))
import gauss_fit_ref  # noqa: E402
import nn_ref  # noqa: E402
import safetensors_io  # noqa: E402

f32 = np.float32
DIVISORS = (28.9896, 122.4517, 780.4849)
TABLE_NAMES = ["conv0/kernel", "conv0/bias", "conv1/kernel", "conv1/bias", "conv2/kernel", "conv2/bias",
               "dense1/matrix", "dense1/bias", "dense2/matrix", "dense2/bias"]
SHAPES = [(3, 3, 4, 32), (32,), (3, 3, 32, 32), (32,), (3, 3, 32, 32), (32,), (512, 32), (32,), (32, 4), (4,)]
# Power-of-two scales keep the test weights exact in float32.
SCALES = [0.25, 0.125, 0.125, 0.125, 0.125, 0.125, 0.0625, 0.125, 0.25, 0.125]


class XorShift:
    def __init__(self, seed):
        self.s = seed & 0xFFFFFFFF

    def next(self):
        s = self.s
        s ^= (s << 13) & 0xFFFFFFFF
        s ^= s >> 17
        s ^= (s << 5) & 0xFFFFFFFF
        self.s = s
        return s

    def uniform(self, n):
        """n floats in [-1, 1), exact in float32."""
        return np.array([(self.next() >> 8) * 2.0**-23 - 1.0 for _ in range(n)], dtype=np.float64)

    def pixels(self, n):
        return np.array([self.next() % 256 for _ in range(n)], dtype=np.int64)


def test_weights_and_input(seed):
    g = XorShift(seed)
    x = (g.uniform(101 * 101 * 4) + 1.0) * 0.5
    weights = [g.uniform(int(np.prod(s))).reshape(s) * sc for s, sc in zip(SHAPES, SCALES)]
    return x.reshape(101, 101, 4), weights


def forward(x, w):
    """Every intermediate of the forward pass, float64."""
    t = {}
    t["conv0"] = nn_ref.conv2d_valid(x, w[0], w[1], 2)
    t["pool0"] = nn_ref.maxpool2x2(nn_ref.relu(t["conv0"]))
    t["conv1"] = nn_ref.conv2d_valid(t["pool0"], w[2], w[3], 1)
    t["pool1"] = nn_ref.maxpool2x2(nn_ref.relu(t["conv1"]))
    t["conv2"] = nn_ref.conv2d_valid(t["pool1"], w[4], w[5], 1)
    t["pool2"] = nn_ref.maxpool2x2(nn_ref.relu(t["conv2"]))
    t["hidden"] = nn_ref.relu(nn_ref.dense(t["pool2"], w[6], w[7]))
    t["output"] = nn_ref.relu(nn_ref.dense(t["hidden"], w[8], w[9]))
    return t


def load(name):
    return safetensors_io.read(os.path.join(ROOT, "models", "lux_cnn", "data", name))[0]


def band_of(lcm):
    """(band, divisor, nits) of a brightness code."""
    table = load("lux_cnn_tables.safetensors")["luminance"]
    nits = f32(table[lcm]) if 0 <= lcm <= 14063 else f32(0.0)
    if lcm < 3105:
        return 0, DIVISORS[0], nits
    if lcm < 6105:
        return 1, DIVISORS[1], nits
    if lcm <= 14063:
        return 2, DIVISORS[2], nits
    return 0, DIVISORS[2], f32(0.0)


def model_predict(pixels, lcm, mode, weights):
    band, divisor, nits = band_of(lcm)
    level = f32(nits / f32(divisor))
    x = np.empty((101, 101, 4), dtype=np.float32)
    x[:, :, :3] = (pixels[:, :, :3].astype(np.float64) / 255.0).astype(np.float32)
    x[:, :, 3] = level
    m = mode if mode in (1, 2) else 0
    w = [weights[f"mode{m}/band{band}/{n}"] for n in TABLE_NAMES]
    return forward(x.astype(np.float64), w)["output"] * divisor


def pattern(kind, seed):
    if kind == "black":
        p = np.zeros((101, 101, 4), dtype=np.int64)
    elif kind == "red2":  # one channel summing to 2: two red pixels of 1
        p = np.zeros((101, 101, 4), dtype=np.int64)
        p[70, 80, 0] = 1
        p[100, 100, 0] = 1
    else:
        p = XorShift(seed).pixels(101 * 101 * 4).reshape(101, 101, 4)
        if kind == "dim":
            p = p // 16
    return p


# ---- Calibration.

REFERENCE = [(826.04, 83.77), (825.78, 84.01), (825.19, 84.39)]
GOLDEN = [(12540, 1215, 10348, 1169, 519, 52, 415, 54), (11872, 1102, 9858, 1078, 490, 49, 392, 50),
          (12294, 1116, 10235, 1130, 500, 53, 401, 56)]


def trans_weight(centre, reference, src):
    dx = f32(f32(reference[0]) - f32(centre[0]))
    dy = f32(f32(reference[1]) - f32(centre[1]))
    idx = np.arange(101)
    sx = (dx + idx.astype(np.float32)).astype(np.float32)
    sx = np.where((sx > 100.0) | (sx < 0.0), (100 - idx).astype(np.float32), sx)
    sy = (dy + idx.astype(np.float32)).astype(np.float32)
    sy = np.where((sy > 100.0) | (sy < 0.0), (100 - idx).astype(np.float32), sy)
    fx, fy = (sx - np.floor(sx)).astype(np.float32), (sy - np.floor(sy)).astype(np.float32)
    x0, x1 = np.floor(sx).astype(int), np.ceil(sx).astype(int)
    y0, y1 = np.floor(sy).astype(int), np.ceil(sy).astype(int)
    s = src.astype(np.float64)
    a = s[y0][:, x0] + fx[None, :] * (s[y0][:, x1] - s[y0][:, x0])
    b = s[y1][:, x0] + fx[None, :] * (s[y1][:, x1] - s[y1][:, x0])
    v = a + (b - a) * fy[:, None]
    total = v.sum()
    return v / total if total > 0 else v


def get_calibration(lcm, pixels, mode, color, maps):
    m = mode if mode in (1, 2) else 0
    G = np.array(GOLDEN[m], dtype=np.float32)
    C = np.array(color, dtype=np.float32)
    S = load("lux_cnn_tables.safetensors")[f"mode{m}/weight_map"].astype(np.float64)
    D = maps[m]
    px = pixels.astype(np.float64)
    sr, sg, sb = [(S * px[:, :, c]).sum() / 10201.0 for c in range(3)]
    dr, dg, db = [(D * px[:, :, c]).sum() / 10201.0 for c in range(3)]
    wg, wb = float(G[2] / G[1]), float(G[3] / G[1])
    lsrc, ldst = sr + sg * wg + sb * wb, dr + dg * wg + db * wb
    loc_k = ldst / lsrc if lsrc > 0.001 and ldst > 0.001 else 1.0
    hi = (C[:4] / G[:4]).astype(np.float64)
    lo = (C[4:] / G[4:]).astype(np.float64)
    if lcm < 3156:
        ck = hi[0] if C[4] < 10.0 else lo[0]
        if lsrc > 0.001:
            f = [hi[k] if C[4 + k] < 10.0 else lo[k] for k in range(4)]
            ck = (sr * f[1] + sg * wg * f[2] + sb * wb * f[3]) / lsrc
    else:
        t = float(load("lux_cnn_tables.safetensors")["luminance"][lcm]) - 30.0
        f = lo + t * (hi - lo) / 750.4849
        ck = f[0] if lsrc <= 0.001 else (sr * f[1] + sg * wg * f[2] + sb * wb * f[3]) / lsrc
    return ck, loc_k


def factory_location(cx, cy):
    """16 measurement points around (cx, cy) with a Gaussian response."""
    xs, ys, zs = [], [], []
    for row in range(4):
        for col in range(4):
            x, y = 813.0 + 8.0 * col, 69.0 + 8.0 * row
            xs.append(x)
            ys.append(y)
            zs.append(float(f32(3000.0 * np.exp(-((x - cx)**2 / 72.0 + (y - cy)**2 / 50.0)))))
    return xs, ys, zs


def fitted_centre(xs, ys, zs):
    x = [float(f32(v)) for v in xs]
    y = [float(f32(v)) for v in ys]
    zmax = max([0.0] + [float(f32(v)) for v in zs])
    z = [float(f32(v)) / zmax for v in zs]
    ok, _, p, _ = gauss_fit_ref.fit(x, y, z, gauss_fit_ref.estimate(x, y, z))
    assert ok
    return f32(p[0]), f32(p[1])


def h(v):
    return float(v).hex()


def main():
    weights = load("lux_cnn_trained_sim_v1.safetensors")
    out = open(os.path.join(ROOT, "tests", "lux_cnn", "LuxCNNGolden.inc"), "w")
    out.write("// Generated by tools/reference/lux_cnn_ref.py. Do not edit.\n")

    # Layers with test weights (seed 7).
    x, w = test_weights_and_input(7)
    t = forward(x, w)
    safetensors_io.write(os.path.join(ROOT, "tests", "lux_cnn", "lux_cnn_layers_golden.safetensors"),
                         {k: v.astype(np.float32) for k, v in t.items()},
                         {"generator": "tools/reference/lux_cnn_ref.py", "seed": "7"})

    # The driver with the compiled-in weights.
    out.write("const PredictCase kPredict[] = {\n")
    cases = [("noise", 11, lcm, 0) for lcm in (0, 1, 4, 3104, 3105, 6104, 6105, 14063, 14064, 20000, -5)]
    cases += [("noise", 12, 5000, m) for m in (0, 1, 2, 7)] + [("dim", 13, 9000, 1), ("black", 0, 3000, 2),
                                                               ("red2", 0, 7000, 0)]
    for kind, seed, lcm, mode in cases:
        r = model_predict(pattern(kind, seed), lcm, mode, weights)
        out.write(f'    {{"{kind}", {seed}, {lcm}, {mode}, {{{", ".join(h(v) for v in r)}}}}},\n')
    out.write("};\n")
    out.close()

    out = open(os.path.join(ROOT, "tests", "lux_cnn", "LuxCNNCalibrationGolden.inc"), "w")
    out.write("// Generated by tools/reference/lux_cnn_ref.py. Do not edit.\n")
    # Calibration: a unit whose sensor sits at (828.6, 80.3), its own colour params.
    color = [14000.0, 1300.0, 11000.0, 1250.0, 560.0, 60.0, 430.0, 60.0]
    xs, ys, zs = factory_location(828.6, 80.3)
    cx, cy = fitted_centre(xs, ys, zs)
    tables = load("lux_cnn_tables.safetensors")
    maps = [trans_weight((cx, cy), REFERENCE[m], tables[f"mode{m}/weight_map"]) for m in range(3)]
    out.write(f"const float kLocX[16] = {{{', '.join(h(f32(v)) for v in xs)}}};\n")
    out.write(f"const float kLocY[16] = {{{', '.join(h(f32(v)) for v in ys)}}};\n")
    out.write(f"const float kLocZ[16] = {{{', '.join(h(f32(v)) for v in zs)}}};\n")
    out.write(f"const float kUnitColor[8] = {{{', '.join(h(f32(v)) for v in color)}}};\n")
    out.write(f"const float kFittedCentre[2] = {{{h(cx)}, {h(cy)}}};\n")
    out.write("const CalibrationCase kCalibrated[] = {\n")
    ccases = [("noise", 21, lcm, 0) for lcm in (0, 3155, 3156, 5000, 14063)]
    ccases += [("noise", 22, 9000, m) for m in (1, 2, 7)] + [("black", 0, 1000, 0), ("black", 0, 9000, 1),
                                                             ("dim", 23, 2000, 2)]
    for kind, seed, lcm, mode in ccases:
        ck, lk = get_calibration(lcm, pattern(kind, seed), mode, color, maps)
        out.write(f'    {{"{kind}", {seed}, {lcm}, {mode}, {h(ck)}, {h(lk)}}},\n')
    out.write("};\n")
    out.close()


if __name__ == "__main__":
    main()
