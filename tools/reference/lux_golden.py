#!/usr/bin/python3
"""Independent reference for the project lux formula.

Prints golden (input, result) pairs for tests/fusion/LuxFormulaTest.cpp. It
models each rounding step with numpy scalars (float32 for band tests, the
factor and the product; float64 for the ramps) instead of sharing code with the
library. Run: /usr/bin/python3 tools/reference/lux_golden.py
"""
import numpy as np

f32, f64 = np.float32, np.float64

G1 = (0.3524, 1.3524, 0.0326, f32(1.385))
G2 = (0.2814, 1.2814, 0.0531, f32(1.3345))


def gain(x, curve):
    x = f32(x)
    ramp1, base2, ramp2, top = curve
    if x <= f32(1000):
        k = f32(1.0)
    elif x <= f32(2000):
        k = f32(f64(1.0) + f64(f32(x - f32(1000))) * f64(ramp1) / f64(1000.0))
    elif x <= f32(4000):
        k = f32(f64(base2) + f64(f32(x - f32(2000))) * f64(ramp2) / f64(2000.0))
    else:
        k = top
    return f32(x * k)


def channel_lux(r, g, b, fr, fg, fb):
    r_ = f32(f64(r) * f64(f32(fr)))
    g_ = f32(f64(g) * f64(f32(fg)))
    b_ = f32(f64(b) * f64(f32(fb)))
    return f32(f64(0.0077) * f64(r_) + f64(0.09) * f64(g_) - f64(0.0774) * f64(b_) + f64(0.0914))


def hexf(v):
    return float(v).hex()


print("// gain curves: x, G1(x), G2(x)")
for x in [0.0, 999.0, 1000.0, 1000.0001, 1500.0, 1999.9, 2000.0, 2000.5, 3000.0, 4000.0,
          4000.001, 12345.678, -50.0]:
    print(f"{{{hexf(f32(x))}f, {hexf(gain(x, G1))}f, {hexf(gain(x, G2))}f}},  // {x}")

print("// channel formula, then G1: r, g, b, fr, fg, fb, autoTest=0 result, autoTest=1 result")
for (r, g, b, fr, fg, fb) in [(20000.0, 30000.0, 10000.0, 1.0, 1.0, 1.0),
                              (123.5, 456.25, 789.0, 1.1, 0.9, 1.25),
                              (10.0, 10.0, 500.0, 1.0, 1.0, 1.0),
                              (50000.0, 60000.0, 1000.0, 0.8, 1.2, 1.0)]:
    L = channel_lux(r, g, b, fr, fg, fb)
    clamped = gain(max(L, f32(0)) if L < 0 else L, G1)
    raw = gain(L, G1)
    print(f"{{{r}, {g}, {b}, {fr}f, {fg}f, {fb}f, {hexf(clamped)}f, {hexf(raw)}f}},")
