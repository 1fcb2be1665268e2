"""Spectral building blocks: primaries, illuminants, channel sensitivities.

All spectra are sampled on one wavelength grid; integrals are plain sums
times the step. Absolute scales are irrelevant here: calibrate.py fixes them.
"""

import numpy as np

from . import constants as K

WAVELENGTHS = np.arange(K.WAVELENGTH_START, K.WAVELENGTH_STOP + 0.5 * K.WAVELENGTH_STEP,
                        K.WAVELENGTH_STEP)


def _gauss(centre, sigma):
    return np.exp(-0.5 * ((WAVELENGTHS - centre) / sigma) ** 2)


def _logistic_fall(edge, width):
    return 1.0 / (1.0 + np.exp((WAVELENGTHS - edge) / width))


def photopic():
    """CIE photopic luminosity V(l), two-sided Gaussian approximation."""
    lum = WAVELENGTHS / 1000.0
    left = np.exp(-0.5 * ((lum - 0.5688) / 0.0388) ** 2) * 0.98
    right = np.exp(-0.5 * ((lum - 0.5525) / 0.0441) ** 2)
    v = np.where(WAVELENGTHS < 555.0, left, right)
    return v / v.max()


def integrate(a, b):
    return float(np.sum(a * b) * K.WAVELENGTH_STEP)


def luminance(spd):
    """Photometric value of a spectral radiance/irradiance (nits or lux)."""
    return K.PHOTOPIC_EFFICACY * integrate(spd, photopic())


def primary_spectra():
    """(3, L): each primary scaled to a luminance of 1 nit."""
    rows = [_gauss(c, s) for c, s in K.PRIMARY_PEAKS]
    return np.array([r / luminance(r) for r in rows])


def _planck(temp):
    lam = WAVELENGTHS * 1e-9
    return 1.0 / (lam ** 5 * (np.exp(1.438777e-2 / (lam * temp)) - 1.0))


def illuminant_spectrum(name):
    """Spectral irradiance of 1 lux of the named illuminant."""
    if name == "daylight":
        spd = _planck(K.DAYLIGHT_CCT)
    elif name == "incandescent":
        spd = _planck(K.INCANDESCENT_CCT)
    elif name == "led":
        spd = sum(w * _gauss(c, s) for w, c, s in K.LED_PEAKS)
    elif name == "fluorescent":
        spd = sum(w * _gauss(c, s) for w, c, s in K.FLUORESCENT_LINES)
        spd = spd + K.FLUORESCENT_CONTINUUM * _logistic_fall(700.0, 20.0)
    else:
        raise ValueError("unknown illuminant %r" % (name,))
    return spd / luminance(spd)


def channel_sensitivities():
    """(5, L) relative sensitivities of c, r, g, b, w (silicon x filter x IR cut)."""
    si = _gauss(*K.SILICON_RESPONSE) * _logistic_fall(K.SILICON_CUTOFF, K.SILICON_CUTOFF_WIDTH)
    ircut = _logistic_fall(K.IR_CUT_EDGE, K.IR_CUT_WIDTH)
    rows = []
    for ch in K.CHANNELS:
        floor, peaks = K.FILTERS[ch]
        filt = np.full_like(WAVELENGTHS, floor)
        for w, c, s in peaks:
            filt = filt + w * _gauss(c, s)
        filt = np.minimum(filt, 1.0)
        row = si * filt
        if ch in K.IR_CUT_CHANNELS:
            row = row * ircut
        rows.append(row)
    return np.array(rows)


def panel_transmittance():
    a, b = K.PANEL_TRANSMITTANCE
    return np.maximum(a + b * (WAVELENGTHS - 400.0), a)


def primary_response():
    """(5, 3) relative channel response to 1 nit of each primary."""
    s = channel_sensitivities()
    p = primary_spectra()
    return np.array([[integrate(s[k], p[j]) for j in range(3)] for k in range(5)])


def ambient_response():
    """(4, 5) relative channel response to 1 lux of each illuminant, through the panel."""
    s = channel_sensitivities()
    t = panel_transmittance()
    return np.array([[integrate(s[k] * t, illuminant_spectrum(name)) for k in range(5)]
                     for name in K.ILLUMINANTS])
