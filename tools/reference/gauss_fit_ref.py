#!/usr/bin/python3
"""Independent reference of the 16-sample Gaussian 2-D fit.

Two checks, both written from the description of the fit, not from the C++:

* `Mirror`: the damped Gauss-Newton fit step by step in Python floats (IEEE
  double, math.exp/math.sqrt from the same C library), in the stated summation
  order, so its results can be compared bit for bit: initial guess, Jacobian,
  normal equations, Cholesky, substitutions, one step, and the whole fit with
  its iteration count and damping history.
* scipy's `curve_fit` (Debian's python3-scipy, only needed to regenerate) on
  the same samples: the optimum the fit must reach, whatever the path.

Prints tests/lux_cnn/GaussFitGolden.inc (C++ initialisers with hex doubles):
  /usr/bin/python3 tools/reference/gauss_fit_ref.py > tests/lux_cnn/GaussFitGolden.inc
"""
import math
import sys

import numpy as np

SQRT2 = 1.4142135623730951
N = 16


def model(x, y, p, with_jacobian):
    x0, y0, a, sx, sy = p
    f, jac = [], []
    for xi, yi in zip(x, y):
        dx, dy = xi - x0, yi - y0
        u = dx / (SQRT2 * sx)
        v = dy / (SQRT2 * sy)
        e = math.exp(-(u * u + v * v))
        f.append(a * e + 0.0)
        if with_jacobian:
            jac.append([(-2.0 * u) * a * e / (SQRT2 * sx), (-2.0 * v) * a * e / (SQRT2 * sy), -e,
                        dx * u * (-2.0 * a) / (sx * sx * SQRT2) * e, dy * v * (-2.0 * a) / (sy * sy * SQRT2) * e])
    return f, jac


def estimate(x, y, z):
    ext = []
    for vals in (x, y, z):
        lo, hi = 1000000.0, -1000000.0
        for v in vals:
            hi = v if v > hi else hi
            lo = v if v < lo else lo
        ext.append((lo, hi))
    (xmin, xmax), (ymin, ymax), (zmin, zmax) = ext
    s = sx = sy = 0.0
    for xi, yi, zi in zip(x, y, z):
        s += zi - zmin
        sx += xi * (zi - zmin)
        sy += (zi - zmin) * yi
    a = zmax - zmin
    with np.errstate(all="ignore"):
        x0 = float(np.float64(sx) / np.float64(s))
        y0 = float(np.float64(sy) / np.float64(s))
        sig = float(np.sqrt(np.float64(((ymax - ymin) * 0.25) * ((xmax - xmin) * 0.25 * s)) / np.float64(a) / 6.28))
    return [x0, y0, a, sig, sig]


def div(a, b):
    """IEEE division (a zero divisor gives an infinity or NaN, as in C)."""
    with np.errstate(all="ignore"):
        return float(np.float64(a) / np.float64(b))


class NotPositiveDefinite(Exception):
    pass


def cholesky(a):
    L = [[0.0] * 5 for _ in range(5)]
    for k in range(5):
        s = 0.0
        for j in range(k + 1):
            s += L[k][j] * L[k][j]
        d = a[k][k] - s
        if d < 0.0:
            raise NotPositiveDefinite()
        L[k][k] = math.sqrt(d)
        for m in range(k + 1, 5):
            t = 0.0
            for j in range(k):
                t += L[k][j] * L[m][j]
            L[m][k] = div(a[m][k] - t, L[k][k])
    return L


def forward(L, b):
    y = [0.0] * 5
    for k in range(5):
        s = 0.0
        for j in range(k):
            s += L[k][j] * y[j]
        y[k] = div(b[k] - s, L[k][k])
    return y


def back(L, y):
    x = [0.0] * 5
    for k in range(4, -1, -1):
        s = 0.0
        for j in range(k + 1, 5):
            s += L[j][k] * x[j]
        x[k] = div(y[k] - s, L[k][k])
    return x


def normal_equations(jac, r, lam):
    a = [[0.0] * 5 for _ in range(5)]
    b = [0.0] * 5
    for k in range(5):
        for j in range(5):
            s = 0.0
            for i in range(N):
                s += jac[i][k] * jac[i][j]
            a[k][j] = s
        a[k][k] += lam
        s = 0.0
        for i in range(N):
            s += jac[i][k] * r[i]
        b[k] = s
    return a, b


def solve(jac, r, lam):
    a, b = normal_equations(jac, r, lam)
    L = cholesky(a)
    return back(L, forward(L, b))


def sse(x, y, z, p):
    f, _ = model(x, y, p, False)
    s = 0.0
    for zi, fi in zip(z, f):
        s += (zi - fi) * (zi - fi)
    return s


def step(x, y, z, p, lam):
    """One damped step: returns (new p, step norm, new lambda); raises on a failed solve."""
    f, jac = model(x, y, p, True)
    r = [zi - fi for zi, fi in zip(z, f)]
    if lam >= 10000.0:
        delta = solve(jac, r, lam)
    else:
        sse0 = 0.0
        for ri in r:
            sse0 += ri * ri
        while True:
            delta = solve(jac, r, lam)
            trial = [pk - dk for pk, dk in zip(p, delta)]
            if sse(x, y, z, trial) < sse0:
                if lam > 1e-5:
                    lam *= 0.5
                break
            lam *= 2.0
            if not lam < 10000.0:
                break
    norm = 0.0
    for d in delta:
        norm += d * d
    return [pk - dk for pk, dk in zip(p, delta)], math.sqrt(norm), lam


def fit(x, y, z, p):
    """The fit loop from p: (converged, steps, last p, lambdas after each step)."""
    lam, norm, lambdas = 1.0, 1.0, []
    for n in range(1, 101):
        with np.errstate(all="ignore"):
            p, norm, lam = step(x, y, z, p, lam)
        lambdas.append(lam)
        if n == 100:
            return False, n, p, lambdas
        if not norm > 0.001:
            return True, n, p, lambdas
    raise AssertionError


def gauss(x, y, p):
    x0, y0, a, sx, sy = p
    return a * np.exp(-((x - x0)**2 / (2 * sx * sx) + (y - y0)**2 / (2 * sy * sy)))


def grid(cx, cy, spacing):
    xs, ys = [], []
    for row in range(4):
        for col in range(4):
            xs.append(cx + (col - 1.5) * spacing)
            ys.append(cy + (row - 1.5) * spacing)
    return xs, ys


def h(v):
    return float(v).hex()


def arr(vals):
    return "{" + ", ".join(h(v) for v in vals) + "}"


def scipy_fit(x, y, z, p0):
    from scipy.optimize import curve_fit
    popt, _ = curve_fit(lambda xy, *p: gauss(xy[0], xy[1], p), (np.array(x), np.array(y)), np.array(z), p0=p0,
                        xtol=1e-14, ftol=1e-14, maxfev=100000)
    return [float(v) for v in popt]


def main():
    rng = np.random.default_rng(5)
    out = sys.stdout
    out.write("// Generated by tools/reference/gauss_fit_ref.py. Do not edit.\n")

    # Noisy spots on a 4 x 4 grid: the mirror's trajectory bit for bit, and
    # the optimum from scipy.
    out.write("const NoisyCase kNoisy[] = {\n")
    for case in range(4):
        x, y = grid(825.0 + rng.uniform(-3, 3), 81.0 + rng.uniform(-3, 3), 4.0 + case)
        truth = [825.0 + rng.uniform(-4, 4), 81.0 + rng.uniform(-4, 4), 1.0, 5.0 + 2 * case, 4.0 + case]
        z = [float(v) for v in gauss(np.array(x), np.array(y), truth) + rng.normal(0, 0.02, N)]
        p0 = estimate(x, y, z)
        ok, steps, p, lambdas = fit(x, y, z, list(p0))
        assert ok, "noisy case did not converge"
        opt = scipy_fit(x, y, z, p)
        out.write(f"    {{{arr(x)},\n     {arr(y)},\n     {arr(z)},\n     {arr(p0)}, {arr(p)}, {steps}, {arr(opt)}}},\n")
    out.write("};\n")

    # One step from a perturbed start, with several dampings.
    x, y = grid(826.0, 83.0, 5.0)
    truth = [827.3, 82.1, 0.9, 6.0, 4.5]
    z = [float(v) for v in gauss(np.array(x), np.array(y), truth) + rng.normal(0, 0.01, N)]
    p = [826.0, 84.0, 1.0, 5.0, 5.0]
    f, jac = model(x, y, p, True)
    r = [zi - fi for zi, fi in zip(z, f)]
    a, b = normal_equations(jac, r, 0.25)
    L = cholesky(a)
    fy = forward(L, b)
    out.write(f"const double kStepX[16] = {arr(x)};\nconst double kStepY[16] = {arr(y)};\n"
              f"const double kStepZ[16] = {arr(z)};\nconst double kStepP[5] = {arr(p)};\n")
    out.write(f"const double kStepF[16] = {arr(f)};\n")
    out.write("const double kStepJ[16][5] = {" + ", ".join(arr(row) for row in jac) + "};\n")
    out.write("const double kStepA[5][5] = {" + ", ".join(arr(row) for row in a) + "};  // lambda 0.25\n")
    out.write(f"const double kStepB[5] = {arr(b)};\n")
    out.write("const double kStepL[5][5] = {" + ", ".join(arr(row) for row in L) + "};\n")
    out.write(f"const double kStepForward[5] = {arr(fy)};\nconst double kStepDelta[5] = {arr(back(L, fy))};\n")
    out.write("const StepCase kSteps[] = {\n")
    for lam in (1.0, 0.25, 1e-5, 1.5e-5, 9999.0, 10000.0, 16384.0):
        p1, norm, lam1 = step(x, y, z, list(p), lam)
        out.write(f"    {{{h(lam)}, {arr(p1)}, {h(norm)}, {h(lam1)}}},\n")
    # At a least-squares optimum no trial improves: lambda climbs past 10000
    # and the last delta is applied all the same. The residual is made
    # orthogonal to the Jacobian's columns so that p is the optimum.
    popt = [827.3, 82.1, 0.9, 6.0, 4.5]
    f, jac = model(x, y, popt, True)
    q, _ = np.linalg.qr(np.array(jac), mode="complete")
    w = q[:, 5:] @ rng.normal(0, 1, N - 5)
    zopt = [fi + 0.01 * float(wi) for fi, wi in zip(f, w)]
    p1, norm, lam1 = step(x, y, zopt, list(popt), 1.0)
    assert lam1 >= 10000.0 and norm > 0.0
    out.write(f"    {{{h(1.0)}, {arr(p1)}, {h(norm)}, {h(lam1)}}},  // from the optimum\n")
    out.write("};\n")
    out.write(f"const double kOptimumZ[16] = {arr(zopt)};\n")
    out.write(f"const double kOptimumP[5] = {arr(popt)};\n")

    # Low-contrast spots whose fit converges on the 99th step (success) and
    # on the 100th (still a failure): the noise scale was searched with
    # this mirror until the counts landed there.
    g = np.random.default_rng(12)
    x, y = grid(825.0, 81.0, 6.0)
    base = gauss(np.array(x), np.array(y), [825.0 + g.uniform(-9, 9), 81.0 + g.uniform(-9, 9), 1.0,
                                            g.uniform(2, 9), g.uniform(2, 9)])
    noise = g.normal(0, 1.0, N)
    out.write(f"const double kSlowX[16] = {arr(x)};\nconst double kSlowY[16] = {arr(y)};\n")
    out.write("const SlowCase kSlow[] = {\n")
    for scale, expect in ((0.54, 99), (0.512, 100)):
        z = [float(v) for v in base + scale * noise]
        p, lam, norms = estimate(x, y, z), 1.0, []
        for n in range(expect):
            p, norm, lam = step(x, y, z, p, lam)
            norms.append(norm)
        assert all(v > 0.001 for v in norms[:-1]) and norms[-1] <= 0.001, (scale, norms[-3:])
        out.write(f"    {{{expect}, {arr(z)},\n     {arr(p)}}},\n")
    out.write("};\n")

    # Sixteen samples on one diagonal line with a huge amplitude: two pairs of
    # Jacobian columns coincide, damping 1.0 is lost in rounding and the
    # Cholesky pivot goes negative on the first step.
    x = [800 + i * 0.5 for i in range(N)]
    y = [v - 740 for v in x]
    z = [1e9 * math.exp(-(i - 7.3)**2 / 2.0) for i in range(N)]
    try:
        step(x, y, z, estimate(x, y, z), 1.0)
        raise AssertionError("expected a failed solve")
    except NotPositiveDefinite:
        pass
    out.write(f"const double kLineX[16] = {arr(x)};\nconst double kLineY[16] = {arr(y)};\n"
              f"const double kLineZ[16] = {arr(z)};\n")

if __name__ == "__main__":
    main()
