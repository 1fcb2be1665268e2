"""Derived constants: solved once from constants.py so that the reference unit
reproduces the fixed factory values.

Order of the solve (each step uses only the ones before it):

1. luminance table through the anchors;
2. mode-0 primary amplitudes from the golden high colour parameters (their
   ratios on the green channel), normalised so that loaded full white at the
   top code has the table's luminance;
3. current-limit loading of each mode at high and low luminance from the
   golden white against the sum of the golden primaries;
4. amplitudes of modes 1 and 2 from their golden high values, low-luminance
   efficiencies of modes 0..2 from the golden low values;
5. absolute channel gains from the LightRegression full-red reference row;
6. the LuxCNN station gain (the colour station integrates longer than the
   LightRegression calibration), the model-mode factors of the two windows,
   and the ambient scale from the lux formula under daylight.
"""

import functools

import numpy as np

from . import constants as K
from . import spectra


def _pchip(x, y, xi):
    """Monotone cubic Hermite interpolation (Fritsch-Carlson)."""
    x = np.asarray(x, float)
    y = np.asarray(y, float)
    h = np.diff(x)
    delta = np.diff(y) / h
    d = np.zeros_like(y)
    for k in range(1, len(x) - 1):
        if delta[k - 1] * delta[k] > 0:
            w1 = 2 * h[k] + h[k - 1]
            w2 = h[k] + 2 * h[k - 1]
            d[k] = (w1 + w2) / (w1 / delta[k - 1] + w2 / delta[k])
    d[0] = delta[0]
    d[-1] = delta[-1]
    idx = np.clip(np.searchsorted(x, xi) - 1, 0, len(x) - 2)
    t = (xi - x[idx]) / h[idx]
    h00 = (1 + 2 * t) * (1 - t) ** 2
    h10 = t * (1 - t) ** 2
    h01 = t * t * (3 - 2 * t)
    h11 = t * t * (t - 1)
    return h00 * y[idx] + h10 * h[idx] * d[idx] + h01 * y[idx + 1] + h11 * h[idx] * d[idx + 1]


@functools.lru_cache(maxsize=None)
def luminance_table():
    """float32[14064]: nits of full white (mode 0, no loading) by brightness code."""
    codes = np.arange(K.BRIGHTNESS_CODES, dtype=float)
    anchors = [a for a in K.LUMINANCE_ANCHORS if a[0] >= 4]
    lx = np.log([a[0] for a in anchors])
    ly = np.log([a[1] for a in anchors])
    table = np.exp(_pchip(lx, ly, np.log(np.maximum(codes, 4.0))))
    # Codes 1..4: geometric steps from the lowest level up to the code-4 anchor.
    lo_code, lo_nits = K.LUMINANCE_ANCHORS[1]
    hi_code, hi_nits = K.LUMINANCE_ANCHORS[2]
    for c in range(lo_code, hi_code):
        table[c] = lo_nits * (hi_nits / lo_nits) ** ((c - lo_code) / (hi_code - lo_code))
    table[0] = K.LUMINANCE_ANCHORS[0][1]
    out = table.astype(np.float32)
    for code, nits in K.LUMINANCE_ANCHORS:
        out[code] = np.float32(nits)
    return out


class Derived:
    """Container of the solved constants (all numpy arrays, read-only by convention)."""


@functools.lru_cache(maxsize=None)
def derived():
    d = Derived()
    table = luminance_table().astype(float)
    d.table = table
    resp = spectra.primary_response()          # (5, 3) per nit, relative
    amb = spectra.ambient_response()           # (4, 5) per lux, relative
    d.primary_response = resp
    g = K.CHANNELS.index(K.LUXCNN_CHANNEL)
    golden = np.array(K.LUXCNN_GOLDEN, float)  # (3, 8)
    hi_nits = table[K.LUXCNN_HIGH_CODE]
    lo_nits = table[K.LUXCNN_LOW_CODE]
    d.eff_nits = (lo_nits, hi_nits)

    # Loading at the two luminances, from white against the sum of primaries.
    kappa = np.zeros((6, 2))
    for m in range(3):
        kappa[m, 1] = 1.0 - golden[m, 0] / golden[m, 1:4].sum()
        kappa[m, 0] = max(0.0, 1.0 - golden[m, 4] / golden[m, 5:8].sum())
    kappa[3:] = kappa[0]
    d.kappa = kappa

    # Mode-0 amplitudes: X = (station gain x green gain) x amplitude.
    x0 = golden[0, 1:4] / (resp[g] * hi_nits)
    amp0 = x0 / (x0.sum() * (1.0 - kappa[0, 1]))
    sg = x0[0] / amp0[0]                       # station gain x green channel gain
    amp = np.zeros((6, 3))
    eff_low = np.ones((6, 3))
    for m in range(3):
        amp[m] = golden[m, 1:4] / (resp[g] * hi_nits * sg)
        eff_low[m] = golden[m, 5:8] / (resp[g] * lo_nits * sg * amp[m])
    for m, mult in K.MODE_AMPLITUDE_FROM_MODE0.items():
        amp[m] = amp[0] * np.array(mult)
        eff_low[m] = eff_low[0]
    d.amplitude = amp
    d.eff_low = eff_low

    # Channel gains from the full-red reference row (model mode 0, ACL 1).
    red = 0
    nits = table[K.FACTORY_CODE]
    e = _efficiency(eff_low[K.FACTORY_DISPLAY_MODE], d.eff_nits, nits)
    per_gain = resp[:, red] * nits * amp[K.FACTORY_DISPLAY_MODE, red] * e[red]
    d.channel_gain = np.array(K.LR_REFERENCE_RED_OTHER) / per_gain
    d.counts_per_nit = d.channel_gain[:, None] * resp          # (5, 3)
    d.station_gain = sg / d.channel_gain[g]

    # Both windows scale with the model mode's share of emission in a window.
    ref_c = K.LR_REFERENCE_RED_OTHER[0]
    d.model_mode_factor = np.array([1.0, K.LR_REFERENCE_RED_C_MODE1 / ref_c,
                                    K.LR_REFERENCE_RED_C_MODE2 / ref_c])

    # Ambient: counts per lux, scaled so that the lux formula reads daylight right.
    raw = amb * d.channel_gain[None, :]
    wr, wg, wb, _ = K.LUX_FORMULA
    day = raw[K.ILLUMINANTS.index("daylight")]
    d.ambient_scale = 1.0 / (wr * day[1] + wg * day[2] + wb * day[3])
    d.counts_per_lux = raw * d.ambient_scale                  # (4, 5)
    d.flicker = np.array([K.FLICKER_DEPTH[n] for n in K.ILLUMINANTS])
    return d


def _efficiency(eff_low, eff_nits, nits):
    """Subpixel efficiency (..., 3): eff_low at the low point, 1 at the top,
    linear in log luminance between, clamped outside."""
    lo, hi = eff_nits
    nits = np.asarray(nits, float)
    t = np.clip((np.log(np.maximum(nits, 1e-6)) - np.log(lo)) / (np.log(hi) - np.log(lo)), 0.0, 1.0)
    return eff_low + (1.0 - eff_low) * t[..., None]


def efficiency(mode, nits):
    d = derived()
    return _efficiency(d.eff_low[mode], d.eff_nits, nits)


def loading_kappa(mode, nits):
    """Loading coefficient of a mode at a luminance (interpolated like efficiency)."""
    d = derived()
    lo, hi = d.eff_nits
    nits = np.asarray(nits, float)
    t = np.clip((np.log(np.maximum(nits, 1e-6)) - np.log(lo)) / (np.log(hi) - np.log(lo)), 0.0, 1.0)
    return d.kappa[mode, 0] + (d.kappa[mode, 1] - d.kappa[mode, 0]) * t
