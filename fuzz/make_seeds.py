#!/usr/bin/python3
"""Writes the seed corpus of every fuzz target into fuzz/corpus/<target>/.

Seeds are built from the sample SensorConfig tree and a few hand-made edge
cases; their layouts follow the comments at the top of each fuzz_*.cpp.
Regression inputs found by fuzzing are added beside them by hand (named
crash-*), and this script leaves those alone.
"""
import math
import os
import struct
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CORPUS = os.path.join(ROOT, "fuzz", "corpus")
SAMPLE = os.path.join(ROOT, "examples", "SensorConfig")
NAN, INF = float("nan"), float("inf")
DENORMAL = 5e-324


def write(target, name, data):
    d = os.path.join(CORPUS, target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


def sample(rel):
    with open(os.path.join(SAMPLE, rel), "rb") as f:
        return f.read()


def i32(*v):
    return struct.pack("<%di" % len(v), *v)


def f32(*v):
    return struct.pack("<%df" % len(v), *v)


def f64(*v):
    return struct.pack("<%dd" % len(v), *v)


def in_range(value, lo, hi):
    """Four bytes that FuzzInput::takeInRange(lo, hi) maps to value."""
    return struct.pack("<I", value - lo)


def param_store():
    sysdir = "system/etc/SensorConfig/"
    tail = (in_range(0, -1, 3) + in_range(0, -1, 6) + in_range(0, -1, 2) + in_range(0, -1, 2) +
            in_range(0, -1, 2) + i32(2000, 2000, 128, 64, 32) + f64(1.0, 1.0, 1.0) +
            in_range(43, -1, 64) + in_range(112, -1, 128) + bytes(range(0, 250, 7)))
    for mode in ("param00000", "param00001", "param11001"):
        files = [sample(sysdir + "underlight_paramlocation.json"),
                 sample(sysdir + "underlight_%s.json" % mode).replace(mode.encode(), b"param00000"),
                 sample(sysdir + "underlight_param00000_weights.json"),
                 sample("data/SensorConfig/underlight_param00000.json"),
                 sample(sysdir + "NetworkConfig.json")]
        write("param_store", "sample_" + mode, b"\0".join(files) + b"\0" + tail)
    write("param_store", "location_only", sample(sysdir + "underlight_paramlocation.json"))
    write("param_store", "empty", b"")
    write("param_store", "no_network_copy",
          b"\0".join([sample(sysdir + "underlight_paramlocation.json"),
                      sample(sysdir + "underlight_param00000.json"), b"", b"",
                      b'{"localNetworkVersion": 7}']))


def gaussian_fit():
    xs = [815.0 + 6.0 * (i % 4) for i in range(16)]
    ys = [74.0 + 6.0 * (i // 4) for i in range(16)]
    def g(x, y):
        return math.exp(-((x - 825.5) ** 2 / (2 * 25.0) + (y - 83.0) ** 2 / (2 * 36.0)))
    zs = [g(x, y) for x, y in zip(xs, ys)]
    write("gaussian_fit", "gaussian", f64(*xs, *ys, *zs))
    write("gaussian_fit", "equal_weights", f64(*xs, *ys, *([0.5] * 16)))
    write("gaussian_fit", "negative_weights", f64(*xs, *ys, *([-1.0 - i for i in range(16)])))
    write("gaussian_fit", "non_finite", f64(*xs, NAN, *ys[1:], INF, -INF, DENORMAL, *zs[3:]))
    write("gaussian_fit", "with_guess", f64(*xs, *ys, *zs, 825.0, 83.0, 1.0, 5.0, 6.0))


def lux_cnn():
    color = f32(12540, 1215, 10348, 1169, 519, 52, 415, 54)
    xs = [816.0 + 6.0 * (i % 4) for i in range(16)]
    ys = [74.0 + 6.0 * (i // 4) for i in range(16)]
    zs = [100.0 * math.exp(-((x - 826.0) ** 2 + (y - 84.0) ** 2) / 60.0) for x, y in zip(xs, ys)]
    loc = f32(*xs, *ys, *zs)
    pixels = bytes((i * 37) % 256 for i in range(300))
    write("lux_cnn", "calibrated", bytes([1]) + color + loc + i32(5000, 0) + pixels)
    write("lux_cnn", "modes_1_and_2", bytes([0]) + i32(9000, 1) + pixels)
    write("lux_cnn", "mode_2_low", bytes([0]) + i32(100, 2) + pixels)
    write("lux_cnn", "raw_pixels", bytes([2]) + i32(14063, 7) + i32(-2 ** 31, 2 ** 31 - 1, -1, 255))
    write("lux_cnn", "code_out_of_table", bytes([0]) + i32(14064, 0) + pixels)
    write("lux_cnn", "non_finite_calibration",
          bytes([1]) + f32(NAN, INF, -INF, 0, 1e-45, 3e38, -1, 5) + f32(*([NAN] * 16 + [INF] * 16 + [0.5] * 16)) +
          i32(5000, 0) + pixels)
    write("lux_cnn", "equal_weights", bytes([1]) + color + f32(*xs, *ys, *([3.0] * 16)) + i32(4000, 1) + pixels)


def light_regression():
    table = f32(*[2467.453, 5863.13, 778.103, 277.602, 2363.587] * 2,
                *[1500.0, 1200.0, 3100.0, 400.0, 2200.0] * 2,
                *[600.0, 300.0, 500.0, 2600.0, 1900.0] * 2)
    vectors = f32(900, 400, 500, 300, 800, 100, 50, 60, 40, 90)
    image = bytes((i * 53) % 256 for i in range(500))
    for mode in (0, 1, 2):
        write("light_regression", "mode_%d" % mode, bytes([1]) + table + vectors + i32(6000 + 1000 * mode, mode) + image)
    write("light_regression", "non_finite_table", bytes([1]) + f32(*([NAN] * 10 + [INF] * 10 + [-INF] * 10)) +
          vectors + i32(6000, 0) + image)
    write("light_regression", "raw_image", bytes([2]) + f32(NAN, INF, -1, 0, 3e38, *[1] * 5) +
          i32(-5, 99) + i32(-2 ** 31, 2 ** 31 - 1, 0, -1))
    write("light_regression", "code_past_model", bytes([0]) + vectors + i32(2 ** 31 - 1, 0) + image)


def cnn_lux_delta():
    head = i32(8000, 0) + f64(0.3, 0.59, 0.11) + f32(10, 20, 30, 40, 50, 60, 70, 80, 90, 100)
    pixels = bytes((i * 11) % 256 for i in range(400))
    write("cnn_lux_delta", "capture_43x112", bytes([2]) + in_range(43, -2, 297) + in_range(112, -2, 297) + head + pixels)
    write("cnn_lux_delta", "capture_1x1", bytes([2]) + in_range(1, -2, 297) + in_range(1, -2, 297) + head + pixels)
    write("cnn_lux_delta", "zero_width", bytes([2]) + in_range(0, -2, 297) + in_range(5, -2, 297) + head)
    write("cnn_lux_delta", "both_negative", bytes([1]) + i32(-2, -3) + head + struct.pack("<H", 18) + pixels)
    write("cnn_lux_delta", "overflowing", bytes([1]) + i32(2 ** 31 - 1, 2 ** 31 - 1) + head + struct.pack("<H", 3))
    write("cnn_lux_delta", "count_mismatch", bytes([0]) + in_range(10, -2, 297) + in_range(10, -2, 297) + head +
          struct.pack("<H", 299) + pixels)
    write("cnn_lux_delta", "odd_eye_and_raw", bytes([2 | 4 | 8]) + in_range(20, -2, 297) + in_range(30, -2, 297) +
          i32(-1, 5) + f64(NAN, INF, -1e308) + f32(NAN, INF, -INF, 0, 1, 2, 3, 4, 5, 6) + i32(2 ** 31 - 1, -2 ** 31))


def split_string():
    for name, sep, text in [("comma", b",", b"a,b,,c"), ("double_colon", b"::", b"a::b:::c"),
                            ("separator_only", b";", b";"), ("empty_text", b"x", b""),
                            ("long_separator", b"abcdefgh", b"abcdefghabcdefg"), ("binary", b"\0", b"\0\0a\0")]:
        write("split_string", name, bytes([len(sep) - 1]) + sep + text)


def project_feature():
    def seed(identity, props, tail):
        return b"\0".join([identity] + props + [tail])
    tail = f64(100, 50, 60, 40, 120) + f32(300.0) + i32(6000, 480)
    write("project_feature", "panel_1", seed(b"0x000000a0", [b"0", b"KX7301", b"500", b"1.02", b"0.98", b"1", b"1", b"1"], tail))
    write("project_feature", "panel_2_overseas", seed(b"0x00000030", [b"1", b"KX7301-EU", b"250"] + [b"0.5"] * 5,
                                                      f64(1, 2, 3, 4, 5) + f32(10.0) + i32(100, 420)))
    write("project_feature", "panel_5_short", seed(b"0x00000036\n", [b"", b"", b"0"] + [b""] * 5, tail))
    write("project_feature", "unknown_panel", seed(b"0x000000a", [b"abc", b"", b"-7"] + [b"nan", b"inf", b"-1", b"1e40", b"0x10"],
                                                   f64(NAN, INF, -INF, 0, DENORMAL) + f32(NAN) + i32(2 ** 31 - 1, -1)))
    write("project_feature", "huge_values", seed(b"", [b"99999999999999999999", b"x" * 91, b"-99999999999999999999"] +
                                                 [b"9" * 91] * 5, tail))
    write("project_feature", "empty", b"")


def factory_calibration():
    unit = [2467.453, 5863.13, 778.103, 277.602, 2363.587, 2400.1, 5700.0, 760.0, 270.0, 2300.0,
            1500.0, 1200.0, 3100.0, 400.0, 2200.0, 1480.0, 1180.0, 3050.0, 395.0, 2150.0,
            600.0, 300.0, 500.0, 2600.0, 1900.0, 590.0, 295.0, 490.0, 2550.0, 1850.0]
    image = bytes((i * 29) % 256 for i in range(200))
    for how, name in enumerate(["answers", "service_error", "exception", "status", "dies_in_call", "dead", "absent"]):
        write("factory_calibration", name, bytes([how]) + i32(-5, 1) + f32(*unit) + i32(7000, 0) + image)
    write("factory_calibration", "non_finite", bytes([0]) + i32(0, 1) + f32(*([NAN, INF, -INF, 0.0, 1e-45] * 6)) +
          i32(7000, 1) + image)
    write("factory_calibration", "negative_verdict", bytes([0]) + i32(0, -1) + f32(*unit) + i32(20000, 2) + image)


if __name__ == "__main__":
    for make in (param_store, gaussian_fit, lux_cnn, light_regression, cnn_lux_delta, split_string, project_feature,
                 factory_calibration):
        make()
    sys.exit(0)
