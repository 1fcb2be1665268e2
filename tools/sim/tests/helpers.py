"""Small builders shared by the simulator tests."""

import numpy as np

from tools.sim import constants as K
from tools.sim import frames

WIN_X, WIN_Y, WIN_W, WIN_H = K.WINDOW


def solid_screens(colours):
    colours = np.asarray(colours, np.uint8).reshape(-1, 3)
    return np.broadcast_to(colours[:, None, None, :], (len(colours), WIN_H, WIN_W, 3)).copy()


def conditions(n, brightness=10000, display_mode=0, screen_hop_mode=2, acl=1, dc_state=0,
               illuminant=0, lux=0.0):
    return {"brightness": np.full(n, brightness), "display_mode": np.full(n, display_mode),
            "screen_hop_mode": np.full(n, screen_hop_mode), "acl": np.full(n, acl),
            "dc_state": np.full(n, dc_state), "illuminant": np.full(n, illuminant),
            "lux": np.full(n, lux, float)}


def render(unit, screens, rng=None, **cond):
    cond_arrays = conditions(len(screens), **cond)
    for k, v in cond.items():
        cond_arrays[k] = np.broadcast_to(np.asarray(v), (len(screens),))
    return frames.render(unit, screens, cond_arrays, rng)
