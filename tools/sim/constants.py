"""Every physical constant of the screen-leakage simulator, in one place.

Three kinds of value live here:

* values the library's data fixes (the reference unit's factory readings, the
  LuxCNN golden colour parameters and reference centres, the luminance anchors);
  the simulator's reference unit reproduces them (see calibrate.py);
* shape constants chosen to be physically plausible (spectra, spot widths,
  residual emission, noise, flicker);
* bounds of the per-unit variation.

Nothing outside this module hard-codes a physical number. Derived constants
(subpixel amplitudes, channel gains, low-luminance efficiencies, current-limit
loading, ambient scale) are solved from these at import by calibrate.py.

Units: lengths in screen pixels (x to the right, y down, origin at the panel's
top-left pixel), luminance in nits (cd/m^2), illuminance in lux, sensor output
in counts at the calibration gain setting of the LightRegression project.
Channel order everywhere is c, r, g, b, w.
"""

import numpy as np

CHANNELS = ("c", "r", "g", "b", "w")
PRIMARIES = ("red", "green", "blue")

# ---------------------------------------------------------------- panel ----
#: Panel resolution (portrait): only a window around the sensor is rendered.
PANEL_WIDTH = 1080
PANEL_HEIGHT = 2400

#: Highest brightness code; the luminance table has BRIGHTNESS_CODES entries.
BRIGHTNESS_CODES = 14064
MAX_CODE = BRIGHTNESS_CODES - 1

#: Luminance of full white (display mode 0, no current limiting) at fixed codes.
#: Codes 0 and 1 are the off and the lowest step; from code 4 the table follows
#: a monotone curve through the anchors (monotone cubic in log code/log nits).
LUMINANCE_ANCHORS = (
    (0, 0.0),
    (1, 0.0001),
    (4, 2.0),
    (3104, 28.9896),
    (6104, 122.4517),
    (14063, 780.4849),
)

#: Codes at which the LuxCNN colour station measures "high" and "low": the top
#: of the table and the first code of the interpolated range (about 30 nits).
LUXCNN_HIGH_CODE = 14063
LUXCNN_LOW_CODE = 3156

#: Display colour modes 0..5. Gamma of the pixel-to-drive transfer; relative
#: primary amplitudes of modes 0..2 are solved from the golden colour
#: parameters, those of modes 3..5 are relative to mode 0 (below).
MODE_NAMES = ("standard", "natural", "vivid", "xdr", "warm", "xdr-vivid")
MODE_GAMMA = (2.2, 2.2, 2.4, 2.2, 2.3, 2.2)
#: Amplitude multipliers of modes 3..5 relative to mode 0 (red, green, blue):
#: the two extended-range modes lift the peak, the warm mode cuts blue.
MODE_AMPLITUDE_FROM_MODE0 = {
    3: (1.12, 1.12, 1.12),
    4: (1.02, 0.97, 0.78),
    5: (1.18, 1.10, 1.15),
}
#: Modes in which the panel does not limit current (extended range).
MODES_WITHOUT_CURRENT_LIMIT = (3, 5)

#: Current-limit (ACL) loading: average drive power above this share of full
#: white starts to pull every subpixel down. A full single primary (1/3) is
#: below it, so the factory colour readings carry no loading.
ACL_POWER_THRESHOLD = 0.5
#: Loading scale by the host's ACL level (0 off, 1 default, 2, 3 stronger).
ACL_LEVEL_SCALE = {0: 0.0, 1: 1.0, 2: 1.5, 3: 2.0}

#: Luminance (nits) at which the low and high efficiencies apply; between them
#: the subpixel efficiency is interpolated in log luminance, clamped outside.
EFFICIENCY_LOW_NITS = 30.0

# ------------------------------------------------------------ geometry ----
#: Rendered window of the panel: (x0, y0, width, height). It holds the host
#: capture, the LuxCNN patch and the spot of any unit within the offset bound.
WINDOW = (736, 0, 180, 176)
#: Host capture over the sensor: left, top, right, bottom (exclusive).
CAPTURE_SCOPE = (800, 50, 850, 130)
#: Library sample grid (rows, columns).
SAMPLE_ROWS = 81
SAMPLE_COLS = 51
#: LuxCNN patch: 101 x 101 pixels whose [0][0] is this panel pixel (x, y).
PATCH_SIZE = 101
PATCH_ORIGIN = (776, 34)

#: Reference unit's response spot centre (x, y) and the LuxCNN reference
#: centres by display mode 0, 1, 2 (the mode-1 and mode-2 weight maps were made
#: from separate location measurements of the same unit).
REFERENCE_SPOT_CENTRE = (826.04, 83.77)
LUXCNN_REFERENCE_CENTRES = ((826.04, 83.77), (825.78, 84.01), (825.19, 84.39))

#: Response spot: a core Gaussian (the sensor's direct view through the
#: panel's openings) plus a wide halo (light scattered inside the stack).
SPOT_CORE_SIGMA = (8.0, 9.0)
SPOT_HALO_SIGMA = (22.0, 24.0)
SPOT_HALO_FRACTION = 0.25

#: Factory location measurement: a white square of this side, shown at
#: brightness LOCATION_CODE in a 4 x 4 grid of offsets around the nominal
#: centre; the clear channel of the emission-phase reading is recorded.
LOCATION_NOMINAL_CENTRE = (826, 84)
LOCATION_OFFSETS = (-9, -3, 3, 9)
LOCATION_PROBE_SIDE = 5
LOCATION_CODE = 14063
#: Fit acceptance window of the library's calibration (x0 and y0).
LOCATION_ACCEPT_X = (815.0, 835.0)
LOCATION_ACCEPT_Y = (71.0, 91.0)

# ------------------------------------------------------------- spectra ----
#: Wavelength grid (nm) of every spectral integral.
WAVELENGTH_START = 380.0
WAVELENGTH_STOP = 1050.0
WAVELENGTH_STEP = 5.0

#: OLED primaries: Gaussian peaks (centre nm, sigma nm).
PRIMARY_PEAKS = ((622.0, 13.0), (532.0, 15.0), (462.0, 10.0))

#: Silicon photodiode response: Gaussian (centre, sigma) with a cut-off above
#: SILICON_CUTOFF (logistic width SILICON_CUTOFF_WIDTH).
SILICON_RESPONSE = (800.0, 230.0)
SILICON_CUTOFF = 1010.0
SILICON_CUTOFF_WIDTH = 18.0
#: Infrared-cut coating over c, r, g and b (logistic edge, nm).
IR_CUT_EDGE = 690.0
IR_CUT_WIDTH = 12.0
#: Colour filters: (floor, peaks as (weight, centre, sigma)). The floor is the
#: filter's out-of-band leakage; the blue filter's second peak is its red leak.
FILTERS = {
    "c": (1.0, ()),
    "r": (0.015, ((1.0, 615.0, 38.0),)),
    "g": (0.05, ((0.90, 538.0, 36.0),)),
    "b": (0.02, ((1.0, 462.0, 26.0), (0.10, 640.0, 40.0))),
    "w": (1.0, ()),
}
#: Channels behind the infrared-cut coating (w sees the whole band).
IR_CUT_CHANNELS = ("c", "r", "g", "b")

#: Panel stack transmittance for ambient light (relative: rises to the red
#: and near infrared, as the openings and the cathode transmit there best).
PANEL_TRANSMITTANCE = (0.03, 0.00012)   # t(l) = a + b * (l - 400), floored at a

#: Ambient illuminants: names, and the flicker depth each leaves in one
#: integration window after averaging (mains-driven lamps flicker at twice the
#: mains frequency; daylight does not).
ILLUMINANTS = ("daylight", "incandescent", "led", "fluorescent")
DAYLIGHT_CCT = 6504.0
INCANDESCENT_CCT = 2856.0
LED_PEAKS = ((0.55, 450.0, 11.0), (1.0, 565.0, 55.0), (0.35, 640.0, 40.0))
FLUORESCENT_LINES = ((1.0, 611.0, 5.0), (1.2, 544.0, 4.0), (0.7, 436.0, 4.0),
                     (0.25, 490.0, 12.0), (0.25, 590.0, 15.0))
FLUORESCENT_CONTINUUM = 0.02
FLICKER_DEPTH = {"daylight": 0.0, "incandescent": 0.01, "led": 0.04,
                 "fluorescent": 0.08}
#: Phase offset between the two integration windows (radians of the flicker).
WINDOW_PHASE_OFFSET = 2.1
#: Lux range of the simulated ambient light.
LUX_MAX = 100000.0
#: Photopic efficacy (lm/W).
PHOTOPIC_EFFICACY = 683.0

#: The project's channel-to-lux formula (weights of r, g, b and offset). The
#: ambient scale is set so that it returns the true lux for daylight on the
#: reference unit; other illuminants show its real error.
LUX_FORMULA = (0.0077, 0.09, -0.0774, 0.0914)

# ----------------------------------------------------- sensor readings ----
#: The sensor integrates twice per refresh, in two windows of equal length:
#: "nblk" while the rows over the sensor emit, "blk" while they are in the
#: black (non-emission) part of the PWM/refresh cycle. Share of the emission
#: phase's screen light still seen in the black window: subpixel decay
#: (afterglow) under PWM, and with DC dimming (no PWM off-phase, only the
#: refresh blanking) much more.
BLK_RESIDUAL_PWM = (0.045, 0.065, 0.035)   # red, green, blue
BLK_RESIDUAL_DC = (0.30, 0.33, 0.28)
#: DC dimming is used only below this code when the session simulates it.
DC_DIMMING_MAX_CODE = 6104

#: Screen-hop state (host's screenHopMode) -> the model mode the library uses
#: (0 -> 2, 1 -> 1, anything else -> 0).
HOP_TO_MODEL_MODE = {0: 2, 1: 1}

# ------------------------------------------------------ factory values ----
#: LightRegression factory test: dark box, full-screen colour at this pixel
#: level and brightness code, display mode 0, ACL 1, PWM dimming.
FACTORY_CODE = 12208
FACTORY_LEVEL = 255
FACTORY_DISPLAY_MODE = 0
FACTORY_ACL = 1
#: Model mode of the reference table that the unit table starts from.
FACTORY_MODEL_MODE = 0

#: Reference unit, model mode 0 ("other modes"): full-red emission-phase row.
LR_REFERENCE_RED_OTHER = (2467.453, 5863.13, 778.103, 277.602, 2363.587)
#: Clear channel of the same row in model modes 1 and 2.
LR_REFERENCE_RED_C_MODE1 = 2729.874
LR_REFERENCE_RED_C_MODE2 = 2596.196

#: LuxCNN golden colour parameters by display mode 0, 1, 2: high (white, red,
#: green, blue) then low, measured on the green channel of the emission-phase
#: reading with the LuxCNN station's own integration (LUXCNN_STATION_GAIN is
#: solved so that mode 0 matches).
LUXCNN_GOLDEN = (
    (12540, 1215, 10348, 1169, 519, 52, 415, 54),
    (11872, 1102, 9858, 1078, 490, 49, 392, 50),
    (12294, 1116, 10235, 1130, 500, 53, 401, 56),
)
LUXCNN_CHANNEL = "g"
#: Colour check of the library's LuxCNN calibration, (low, high) inclusive.
LUXCNN_COLOUR_BOUNDS = ((3000, 40000), (300, 3000), (3000, 35000), (200, 3000),
                        (100, 2000), (10, 200), (100, 2000), (10, 200))

# -------------------------------------------------------------- noise ----
#: Per-reading noise: variance = SHOT * counts + READ^2 (counts).
NOISE_SHOT = 0.05
NOISE_READ = 2.0
#: Readings never go below zero (the converter's output).

# --------------------------------------------------- per-unit variation ----
#: Bounds of the uniform per-unit variation (relative unless stated).
UNIT_CHANNEL_GAIN_SPREAD = 0.08      # overall gain of each channel
UNIT_PRIMARY_RESPONSE_SPREAD = 0.04  # each channel's response to each primary
UNIT_SPOT_OFFSET_MAX = 4.0           # spot centre, pixels, each axis
UNIT_SPOT_SIGMA_SPREAD = 0.10        # spot widths
UNIT_BLK_RESIDUAL_SPREAD = 0.20      # black-window residual (timing)
UNIT_AMBIENT_SPREAD = 0.06           # panel transmittance over the sensor
