"""Small builders shared by the simulator tests."""

import os
import sys

import numpy as np

from tools.sim import constants as K
from tools.sim import frames

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "reference"))
import gauss_fit_ref  # noqa: E402

WIN_X, WIN_Y, WIN_W, WIN_H = K.WINDOW


def solid_screens(colours):
    colours = np.asarray(colours, np.uint8).reshape(-1, 3)
    return np.broadcast_to(colours[:, None, None, :], (len(colours), WIN_H, WIN_W, 3)).copy()


DEFAULT_CONDITIONS = dict(brightness=10000, display_mode=0, screen_hop_mode=2, acl=1, dc_state=0, illuminant=0)


def render(unit, screens, rng=None, lux=0.0, **cond):
    return frames.render(unit, screens, {**DEFAULT_CONDITIONS, **cond, "lux": np.asarray(lux, float)}, rng)


def fit_spot(loc):
    """The library's spot fit (independent reference) on location samples
    (x, y, z); (x0, y0, A, sigma_x, sigma_y) or None when it fails."""
    x, y, z = ([float(v) for v in row] for row in (loc[0], loc[1], loc[2] / loc[2].max()))
    ok, _, p, _ = gauss_fit_ref.fit(x, y, z, gauss_fit_ref.estimate(x, y, z))
    return np.array(p) if ok else None
