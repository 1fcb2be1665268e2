"""Factory and panel data: the reference unit reproduces the fixed values, and
varied units stay within their bounds and within what the library accepts."""

import unittest

import numpy as np

from tools.sim import calibrate
from tools.sim import constants as K
from tools.sim import factory
from tools.sim import model
from tools.sim.tests.helpers import fit_spot, render, solid_screens

REF = model.reference_unit()
UNITS = [model.make_unit(11, i) for i in range(40)]


def lux_formula(c):
    wr, wg, wb, _ = K.LUX_FORMULA
    return wr * c[1] + wg * c[2] + wb * c[3]


class ReferenceUnit(unittest.TestCase):
    def test_lightregression_tables_reproduce_the_fixed_values(self):
        t = factory.lightregression_reference_tables()
        np.testing.assert_allclose(t[0][0, 0], K.LR_REFERENCE_RED_OTHER, rtol=1e-6)
        self.assertAlmostEqual(float(t[1][0, 0, 0]), K.LR_REFERENCE_RED_C_MODE1, delta=1e-3)
        self.assertAlmostEqual(float(t[2][0, 0, 0]), K.LR_REFERENCE_RED_C_MODE2, delta=1e-3)
        np.testing.assert_array_equal(factory.lightregression_factory(REF), t[0])

    def test_lightregression_tables_are_sane_for_the_library_calibration(self):
        # Each colour is read mostly by its own channel, the black window sees
        # a small part of the emission, and the difference ratios stay defined.
        for m, t in factory.lightregression_reference_tables().items():
            with self.subTest(model_mode=m):
                self.assertEqual(t.shape, (3, 2, 5))
                self.assertEqual([int(np.argmax(t[colour, 0, 1:4])) + 1 for colour in range(3)], [1, 2, 3])
                share = t[:, 1] / t[:, 0]
                self.assertTrue(np.all((share > 0.01) & (share < 0.2)), share)

    def test_luxcnn_colour_params_match_golden_in_modes_0_to_2(self):
        golden = factory.luxcnn_golden()
        for m in range(3):
            with self.subTest(mode=m):
                got = factory.luxcnn_colour_params(REF, m).ravel()
                np.testing.assert_allclose(got, golden[m], rtol=2e-6, atol=2e-3)

    def test_location_samples_fit_to_the_reference_centre(self):
        p = fit_spot(factory.luxcnn_location_samples(REF))
        self.assertIsNotNone(p)
        np.testing.assert_allclose(p[:2], K.LUXCNN_REFERENCE_CENTRES[0], atol=0.01)

    def assert_peak_at(self, w, centre):
        row, col = np.unravel_index(np.argmax(w), w.shape)
        self.assertLessEqual(abs(col + K.PATCH_ORIGIN[0] - centre[0]), 0.5)
        self.assertLessEqual(abs(row + K.PATCH_ORIGIN[1] - centre[1]), 0.5)

    def test_weight_maps_peak_at_their_spot_centre(self):
        for m in (0, 1, 2, 4):
            with self.subTest(mode=m):
                w = factory.luxcnn_default_weight_map(m)
                self.assertEqual(w.shape, (101, 101))
                self.assertAlmostEqual(float(w.sum(dtype=np.float64)), 1.0, places=5)
                self.assert_peak_at(w, K.LUXCNN_REFERENCE_CENTRES[m if m in (1, 2) else 0])
        # A unit's shifted spot moves its true weight map.
        u = UNITS[0]
        self.assert_peak_at(factory.spot_patch(u.spot_centre, u.spot_sigma_scale), u.spot_centre)

    def test_luminance_table_anchors_exact_and_curve_monotone(self):
        t = calibrate.luminance_table()
        self.assertEqual((t.shape, t.dtype), ((14064,), np.float32))
        for code, nits in K.LUMINANCE_ANCHORS:
            self.assertEqual(t[code], np.float32(nits), code)
        self.assertTrue(np.all(np.diff(t) > 0))
        # The low colour point of the LuxCNN calibration sits near 30 nits.
        self.assertAlmostEqual(float(t[K.LUXCNN_LOW_CODE]), 30.0, delta=1.0)

    def test_lux_formula_reads_daylight_exactly_and_other_lamps_closely(self):
        for lux in (1.0, 300.0, 100000.0):
            c = render(REF, solid_screens([[0, 0, 0]]), lux=lux, illuminant=0)["nblk"][0].astype(float)
            self.assertAlmostEqual(lux_formula(c) / lux, 1.0, places=5)
        for i, name in enumerate(K.ILLUMINANTS):
            with self.subTest(illuminant=name):
                a = model.ambient_counts(REF, [i], [1000.0])[0]
                self.assertLess(abs(lux_formula(a) / 1000.0 - 1.0), 0.15)


class VariedUnits(unittest.TestCase):
    def test_parameters_stay_within_and_span_the_stated_bounds(self):
        def within(values, spread):
            v = np.asarray(values)
            return np.all((v >= 1 - spread) & (v <= 1 + spread))

        ref = np.array(K.REFERENCE_SPOT_CENTRE)
        for u in UNITS:
            self.assertTrue(within(u.channel_gain, K.UNIT_CHANNEL_GAIN_SPREAD))
            self.assertTrue(within(u.primary_response, K.UNIT_PRIMARY_RESPONSE_SPREAD))
            self.assertTrue(within(u.spot_sigma_scale, K.UNIT_SPOT_SIGMA_SPREAD))
            self.assertTrue(within(u.blk_residual_scale, K.UNIT_BLK_RESIDUAL_SPREAD))
            self.assertTrue(within(u.ambient_scale, K.UNIT_AMBIENT_SPREAD))
            self.assertLessEqual(np.abs(np.array(u.spot_centre) - ref).max(), K.UNIT_SPOT_OFFSET_MAX)
        gains = np.array([u.channel_gain for u in UNITS])
        self.assertGreater(gains.max() - gains.min(), K.UNIT_CHANNEL_GAIN_SPREAD)

    def test_units_are_reproducible_and_distinct(self):
        self.assertEqual(model.make_unit(11, 3), UNITS[3])
        self.assertNotEqual(model.make_unit(12, 3), UNITS[3])
        self.assertEqual(len({u.spot_centre for u in UNITS}), len(UNITS))
        self.assertEqual(model.Unit.from_dict(UNITS[5].to_dict()), UNITS[5])

    def test_lightregression_ratios_follow_the_unit_gains(self):
        ref = factory.lightregression_reference_tables()[0].astype(float)
        g, p = K.UNIT_CHANNEL_GAIN_SPREAD, K.UNIT_PRIMARY_RESPONSE_SPREAD
        for u in UNITS[:10]:
            t = factory.lightregression_factory(u).astype(float)
            level = t[:, 0] / ref[:, 0]
            diff = (t[:, 0] - t[:, 1]) / (ref[:, 0] - ref[:, 1])
            self.assertTrue(np.all((level > (1 - g) * (1 - p) - 1e-6) & (level < (1 + g) * (1 + p) + 1e-6)))
            # Well inside the library's accepted ratio range (0.1, 5).
            self.assertTrue(np.all((diff > 0.8) & (diff < 1.25)), diff)
            np.testing.assert_allclose(level[0], np.array(u.channel_gain) * np.array(u.primary_response)[:, 0],
                                       rtol=1e-5)

    def test_luxcnn_data_pass_the_library_checks(self):
        bounds = np.array(K.LUXCNN_COLOUR_BOUNDS, float)
        for u in UNITS[:12]:
            for mode in range(3):
                c = factory.luxcnn_colour_params(u, mode, rng=np.random.default_rng(u.index)).ravel()
                self.assertTrue(np.all((c >= bounds[:, 0]) & (c <= bounds[:, 1])), (u.index, mode, c))
            # The spot fit finds each unit within the accepted window.
            p = fit_spot(factory.luxcnn_location_samples(u, rng=np.random.default_rng(u.index)))
            self.assertIsNotNone(p)
            np.testing.assert_allclose(p[:2], u.spot_centre, atol=0.3)
            self.assertTrue(K.LOCATION_ACCEPT_X[0] <= p[0] <= K.LOCATION_ACCEPT_X[1])
            self.assertTrue(K.LOCATION_ACCEPT_Y[0] <= p[1] <= K.LOCATION_ACCEPT_Y[1])


if __name__ == "__main__":
    unittest.main()
