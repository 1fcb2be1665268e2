"""Panel emission and sensor readings.

A frame is the rendered panel window (uint8 RGB, WINDOW-sized) plus the panel
state (brightness code, display mode, ACL level, DC dimming, screen-hop state)
and the ambient light (illuminant, lux). From it:

  drive      per pixel and subpixel: (value / 255) ** gamma(mode)
  spot drive s_p = sum over pixels of spot(x, y) * drive_p(x, y)
  luminance  Y_p = table[code] * amplitude[mode, p] * efficiency(mode, nits)_p
                   * loading * s_p                       (nits seen by the sensor)
  screen     nblk_k = f(model mode) * sum_p C_unit[k, p] * Y_p
             blk_k  = f(model mode) * sum_p C_unit[k, p] * residual_p * Y_p
  ambient    A_k = lux * counts_per_lux[illuminant, k] * unit gains
  readings   nblk = A * (1 + d cos phi)        + screen nblk + noise
             blk  = A * (1 + d cos(phi + th))  + screen blk  + noise

All array functions take batches (leading axis = frames).
"""

import dataclasses
import functools

import numpy as np

from . import calibrate
from . import constants as K

WIN_X, WIN_Y, WIN_W, WIN_H = K.WINDOW


@dataclasses.dataclass(frozen=True)
class Unit:
    """One device: the per-unit deviations from the reference unit."""
    index: int = -1                                   # -1: the reference unit
    channel_gain: tuple = (1.0,) * 5                  # c, r, g, b, w
    primary_response: tuple = ((1.0,) * 3,) * 5       # [channel][red, green, blue]
    spot_centre: tuple = K.REFERENCE_SPOT_CENTRE      # panel pixels (x, y)
    spot_sigma_scale: tuple = (1.0, 1.0)              # x, y
    blk_residual_scale: float = 1.0
    ambient_scale: float = 1.0

    def to_dict(self):
        return dataclasses.asdict(self)

    @staticmethod
    def from_dict(d):
        return Unit(index=int(d["index"]),
                    channel_gain=tuple(float(v) for v in d["channel_gain"]),
                    primary_response=tuple(tuple(float(v) for v in row) for row in d["primary_response"]),
                    spot_centre=tuple(float(v) for v in d["spot_centre"]),
                    spot_sigma_scale=tuple(float(v) for v in d["spot_sigma_scale"]),
                    blk_residual_scale=float(d["blk_residual_scale"]),
                    ambient_scale=float(d["ambient_scale"]))


def reference_unit():
    return Unit()


def make_unit(seed, index=0):
    """A unit drawn uniformly within the per-unit bounds of constants.py."""
    rng = np.random.default_rng([int(seed), int(index), 0x5EED])

    def spread(bound, shape=None):
        return 1.0 + rng.uniform(-bound, bound, shape)

    off = rng.uniform(-K.UNIT_SPOT_OFFSET_MAX, K.UNIT_SPOT_OFFSET_MAX, 2)
    return Unit(index=int(index),
                channel_gain=tuple(spread(K.UNIT_CHANNEL_GAIN_SPREAD, 5).tolist()),
                primary_response=tuple(tuple(r) for r in spread(K.UNIT_PRIMARY_RESPONSE_SPREAD, (5, 3)).tolist()),
                spot_centre=(K.REFERENCE_SPOT_CENTRE[0] + off[0], K.REFERENCE_SPOT_CENTRE[1] + off[1]),
                spot_sigma_scale=tuple(spread(K.UNIT_SPOT_SIGMA_SPREAD, 2).tolist()),
                blk_residual_scale=float(spread(K.UNIT_BLK_RESIDUAL_SPREAD)),
                ambient_scale=float(spread(K.UNIT_AMBIENT_SPREAD)))


def spot_function(x, y, centre, sigma_scale=(1.0, 1.0)):
    """Spot response density at panel coordinates (integral over the plane = 1)."""
    cx, cy = centre
    out = 0.0
    for frac, (sx, sy) in ((1.0 - K.SPOT_HALO_FRACTION, K.SPOT_CORE_SIGMA),
                           (K.SPOT_HALO_FRACTION, K.SPOT_HALO_SIGMA)):
        sx *= sigma_scale[0]
        sy *= sigma_scale[1]
        out = out + frac / (2 * np.pi * sx * sy) * np.exp(
            -0.5 * (((x - cx) / sx) ** 2 + ((y - cy) / sy) ** 2))
    return out


@functools.lru_cache(maxsize=64)
def _spot_window(centre, sigma_scale):
    ys, xs = np.mgrid[WIN_Y:WIN_Y + WIN_H, WIN_X:WIN_X + WIN_W].astype(float)
    w = spot_function(xs, ys, centre, sigma_scale)
    w /= w.sum()
    w.setflags(write=False)
    return w


def spot_weights(unit):
    """(WIN_H, WIN_W) weights of the unit's spot over the rendered window, sum 1.

    Light from outside the window (the spot's far tail) is folded into the
    normalisation so that a full-screen colour gives the whole response."""
    return _spot_window(tuple(unit.spot_centre), tuple(unit.spot_sigma_scale))


@functools.lru_cache(maxsize=None)
def drive_luts():
    """(6, 256) float64: linear drive of a pixel value in each display mode."""
    v = np.arange(256) / 255.0
    return np.array([v ** g for g in K.MODE_GAMMA])


def model_mode(screen_hop_mode):
    """The model mode the library derives from the host's screen-hop state."""
    s = np.asarray(screen_hop_mode)
    return np.where(s == 0, 2, np.where(s == 1, 1, 0)).astype(np.int32)


def unit_counts_per_nit(unit):
    d = calibrate.derived()
    return d.counts_per_nit * np.asarray(unit.channel_gain)[:, None] * np.asarray(unit.primary_response)


def spot_drive(unit, screen, mode):
    """Spot-weighted linear drive (N, 3) and average drive power (N,) of windows.

    screen: uint8 (N, WIN_H, WIN_W, 3); mode: (N,) display modes. Double
    precision throughout, so that a uniform screen gives exactly its drive."""
    screen = np.asarray(screen, np.uint8)
    mode = np.asarray(mode, dtype=np.intp)
    n = screen.shape[0]
    weights = np.stack([spot_weights(unit).ravel(), np.full(WIN_H * WIN_W, 1.0 / (WIN_H * WIN_W))])
    luts = drive_luts()
    out = np.empty((n, 2, 3))
    step = 32
    for m in np.unique(mode):
        idx = np.nonzero(mode == m)[0]
        for a in range(0, len(idx), step):
            sel = idx[a:a + step]
            lin = np.take(luts[m], screen[sel].reshape(len(sel), -1, 3))   # (k, H*W, 3)
            out[sel] = np.matmul(weights[None], lin)
    return out[:, 0], out[:, 1].mean(axis=1)


def subpixel_luminance(spot_s, power, code, mode, acl):
    """Y (N, 3): nits of each primary as the sensor's spot sees them."""
    d = calibrate.derived()
    code = np.asarray(code, dtype=np.intp)
    mode = np.asarray(mode, dtype=np.intp)
    acl = np.asarray(acl)
    nits = d.table[np.clip(code, 0, K.MAX_CODE)]
    eff = np.empty((len(code), 3))
    kappa = np.empty(len(code))
    for m in np.unique(mode):
        idx = mode == m
        eff[idx] = calibrate.efficiency(m, nits[idx])
        kappa[idx] = calibrate.loading_kappa(m, nits[idx])
    levels = np.array([K.ACL_LEVEL_SCALE[i] for i in range(4)])
    acl = np.broadcast_to(acl, code.shape).astype(np.intp)
    scale = np.where((acl >= 0) & (acl <= 3), levels[np.clip(acl, 0, 3)], K.ACL_LEVEL_SCALE[1])
    scale = np.where(np.isin(mode, K.MODES_WITHOUT_CURRENT_LIMIT), 0.0, scale)
    over = np.maximum(0.0, np.asarray(power) - K.ACL_POWER_THRESHOLD) / (1.0 - K.ACL_POWER_THRESHOLD)
    load = 1.0 - scale * kappa * over
    return nits[:, None] * d.amplitude[mode] * eff * load[:, None] * spot_s


def screen_counts(unit, lum, screen_hop_mode, dc_state):
    """True screen contribution (N, 5) to the nblk and blk readings."""
    d = calibrate.derived()
    c = unit_counts_per_nit(unit)
    f = d.model_mode_factor[model_mode(screen_hop_mode)][:, None]
    nblk = f * (lum @ c.T)
    res = np.where(np.asarray(dc_state)[:, None] != 0, np.array(K.BLK_RESIDUAL_DC),
                   np.array(K.BLK_RESIDUAL_PWM)) * unit.blk_residual_scale
    blk = f * ((lum * res) @ c.T)
    return nblk, blk


def ambient_counts(unit, illuminant, lux):
    """Ambient contribution (N, 5) without flicker."""
    d = calibrate.derived()
    per_lux = d.counts_per_lux[np.asarray(illuminant, dtype=np.intp)]
    return per_lux * np.asarray(lux, float)[:, None] * np.asarray(unit.channel_gain) * unit.ambient_scale


def readings(screen_nblk, screen_blk, ambient, illuminant, rng=None):
    """(nblk, blk) as the host receives them; rng None gives noise-free readings."""
    d = calibrate.derived()
    if rng is None:
        return ambient + screen_nblk, ambient + screen_blk
    n = ambient.shape[0]
    depth = d.flicker[np.asarray(illuminant, dtype=np.intp)][:, None]
    phi = rng.uniform(0.0, 2 * np.pi, (n, 1))
    nblk = ambient * (1 + depth * np.cos(phi)) + screen_nblk
    blk = ambient * (1 + depth * np.cos(phi + K.WINDOW_PHASE_OFFSET)) + screen_blk
    out = []
    for mean in (nblk, blk):
        sd = np.sqrt(K.NOISE_SHOT * np.maximum(mean, 0.0) + K.NOISE_READ ** 2)
        out.append(np.maximum(mean + rng.normal(0.0, 1.0, mean.shape) * sd, 0.0))
    return out[0], out[1]
