"""Factory measurements of a unit, made through the same forward model as the
frames (full-screen test patterns in a dark box), and the reference data the
library keeps for the reference unit.
"""

import numpy as np

from . import calibrate
from . import constants as K
from . import frames
from . import model

WIN_X, WIN_Y, WIN_W, WIN_H = K.WINDOW
_COLOURS = np.array([[255, 0, 0], [0, 255, 0], [0, 0, 255]], np.uint8)


def _measure(unit, screens, code, display_mode, model_mode, acl=K.FACTORY_ACL):
    """Noise-free nblk and blk (N, 5) of windows in the dark."""
    n = len(screens)
    hop = {2: 0, 1: 1, 0: 2}[int(model_mode)]
    cond = {"brightness": np.full(n, code, np.int32), "display_mode": np.full(n, display_mode),
            "screen_hop_mode": np.full(n, hop), "acl": np.full(n, acl), "dc_state": np.zeros(n, np.int8),
            "illuminant": np.zeros(n, np.int8), "lux": np.zeros(n)}
    b = frames.render(unit, screens, cond)
    return b["screen_nblk"].astype(np.float64), b["screen_blk"].astype(np.float64)


def _full(colours):
    return np.broadcast_to(np.asarray(colours, np.uint8)[:, None, None, :],
                           (len(colours), WIN_H, WIN_W, 3)).copy()


def lightregression_factory(unit, model_mode=K.FACTORY_MODEL_MODE, rng=None, repeats=16):
    """float32 (3, 2, 5): [red, green, blue][group 0 = nblk, group 1 = blk][c, r, g, b, w].

    Full-screen colour at FACTORY_LEVEL and FACTORY_CODE, display mode 0. With
    rng, each value is the mean of `repeats` noisy readings."""
    nblk, blk = _measure(unit, _full(_COLOURS * (K.FACTORY_LEVEL / 255.0)), K.FACTORY_CODE,
                         K.FACTORY_DISPLAY_MODE, model_mode)
    out = np.stack([nblk, blk], axis=1)
    if rng is not None:
        sd = np.sqrt(K.NOISE_SHOT * out + K.NOISE_READ ** 2) / np.sqrt(repeats)
        out = np.maximum(out + rng.normal(0.0, 1.0, out.shape) * sd, 0.0)
    return out.astype(np.float32)


def lightregression_reference_tables():
    """{model mode: float32 (3, 2, 5)} of the reference unit for modes 1, 2 and
    0 (the table of all other modes)."""
    ref = model.reference_unit()
    return {m: lightregression_factory(ref, m) for m in (0, 1, 2)}


def luxcnn_colour_params(unit, display_mode=0, rng=None):
    """float32 (2, 4): rows high and low, columns white, red, green, blue, on
    the green channel of the emission-phase reading with the station's gain."""
    d = calibrate.derived()
    g = K.CHANNELS.index(K.LUXCNN_CHANNEL)
    screens = _full(np.vstack([[[255, 255, 255]], _COLOURS]))
    rows = []
    for code in (K.LUXCNN_HIGH_CODE, K.LUXCNN_LOW_CODE):
        nblk, _ = _measure(unit, screens, code, display_mode, 0)
        rows.append(nblk[:, g] * d.station_gain)
    out = np.array(rows)
    if rng is not None:
        out = out + rng.normal(0.0, 1.0, out.shape) * np.sqrt(K.NOISE_SHOT * out + K.NOISE_READ ** 2) / 4
    return out.astype(np.float32)


def luxcnn_golden():
    """float32 (3, 8): the golden colour parameters by display mode 0, 1, 2."""
    return np.array(K.LUXCNN_GOLDEN, np.float32)


def location_points():
    """(2, 16) x and y of the 16 probe positions, row by row."""
    xs = np.array([K.LOCATION_NOMINAL_CENTRE[0] + o for o in K.LOCATION_OFFSETS], float)
    ys = np.array([K.LOCATION_NOMINAL_CENTRE[1] + o for o in K.LOCATION_OFFSETS], float)
    gy, gx = np.meshgrid(ys, xs, indexing="ij")
    return np.stack([gx.ravel(), gy.ravel()])


def luxcnn_location_samples(unit, rng=None):
    """float32 (3, 16): x, y of each probe and the clear-channel response to a
    white square there (the library's loc[3][16])."""
    pts = location_points()
    half = K.LOCATION_PROBE_SIDE // 2
    screens = np.zeros((16, WIN_H, WIN_W, 3), np.uint8)
    for i, (x, y) in enumerate(pts.T.astype(int)):
        screens[i, y - half - WIN_Y:y + half + 1 - WIN_Y, x - half - WIN_X:x + half + 1 - WIN_X] = 255
    nblk, _ = _measure(unit, screens, K.LOCATION_CODE, 0, 0)
    z = nblk[:, 0]
    if rng is not None:
        z = np.maximum(z + rng.normal(0.0, 1.0, z.shape) * np.sqrt(K.NOISE_SHOT * z + K.NOISE_READ ** 2), 0.0)
    return np.vstack([pts, z[None, :]]).astype(np.float32)


def spot_patch(centre, sigma_scale=(1.0, 1.0)):
    """float64 (101, 101): a spot at `centre` over the LuxCNN patch, sum 1,
    indexed [row][column]."""
    ys, xs = np.mgrid[0:K.PATCH_SIZE, 0:K.PATCH_SIZE].astype(float)
    w = model.spot_function(xs + K.PATCH_ORIGIN[0], ys + K.PATCH_ORIGIN[1], centre, sigma_scale)
    return w / w.sum()


def luxcnn_default_weight_map(mode):
    """float32 (101, 101): the reference unit's spot at the mode's reference
    centre (modes other than 1 and 2 use mode 0)."""
    m = mode if mode in (1, 2) else 0
    return spot_patch(K.LUXCNN_REFERENCE_CENTRES[m]).astype(np.float32)


def unit_factory_data(unit, rng=None):
    """Everything a unit's factory test yields, as plain lists (JSON-ready)."""
    return {
        "lightregression": lightregression_factory(unit, rng=rng).tolist(),
        "luxcnn_color": luxcnn_colour_params(unit, rng=rng).tolist(),
        "luxcnn_loc": luxcnn_location_samples(unit, rng=rng).tolist(),
    }
