"""Levenberg fit of an elliptical 2-D Gaussian without offset to 16 samples,
the way the library locates the sensor spot (initial guess included), for
checking the simulated location samples."""

import numpy as np

SQRT2 = 1.4142135623730951


def _model(x, y, p):
    u = (x - p[0]) / (SQRT2 * p[3])
    v = (y - p[1]) / (SQRT2 * p[4])
    e = np.exp(-(u * u + v * v))
    return p[2] * e, u, v, e


def initial_guess(x, y, z):
    zmin, zmax = z.min(), z.max()
    s = np.sum(z - zmin)
    sx = np.sum(x * (z - zmin))
    sy = np.sum((z - zmin) * y)
    a = zmax - zmin
    sigma = np.sqrt(((y.max() - y.min()) * 0.25) * ((x.max() - x.min()) * 0.25 * s) / a / 6.28)
    return np.array([sx / s, sy / s, a, sigma, sigma])


def fit(x, y, z, max_iter=100):
    """(parameters x0, y0, A, sigma_x, sigma_y) or None when the fit fails."""
    x, y, z = (np.asarray(v, float) for v in (x, y, z))
    p = initial_guess(x, y, z)
    lam = 1.0
    for _ in range(max_iter):
        f, u, v, e = _model(x, y, p)
        r = z - f
        jac = np.stack([(-2 * u) * p[2] * e / (SQRT2 * p[3]), (-2 * v) * p[2] * e / (SQRT2 * p[4]), -e,
                        (x - p[0]) * u * (-2 * p[2]) / (p[3] * p[3] * SQRT2) * e,
                        (y - p[1]) * v * (-2 * p[2]) / (p[4] * p[4] * SQRT2) * e], axis=1)
        jtj, jtr = jac.T @ jac, jac.T @ r
        sse0 = np.sum(r * r)
        while True:
            delta = np.linalg.solve(jtj + lam * np.eye(5), jtr)
            if lam >= 10000.0:
                break
            sse1 = np.sum((z - _model(x, y, p - delta)[0]) ** 2)
            if sse1 < sse0:
                if lam > 1e-5:
                    lam *= 0.5
                break
            lam *= 2.0
            if lam >= 10000.0:
                break
        p = p - delta
        if np.sqrt(np.sum(delta * delta)) <= 0.001:
            return p
    return None
