"""The reference unit reproduces the fixed factory and panel values."""

import unittest

import numpy as np

from tools.sim import calibrate
from tools.sim import constants as K
from tools.sim import factory
from tools.sim import frames
from tools.sim import model
from tools.sim.tests import gaussfit
from tools.sim.tests.helpers import render, solid_screens


class LightRegressionReference(unittest.TestCase):
    def test_tables_reproduce_the_fixed_values(self):
        t = factory.lightregression_reference_tables()
        np.testing.assert_allclose(t[0][0, 0], K.LR_REFERENCE_RED_OTHER, rtol=1e-6)
        self.assertAlmostEqual(float(t[1][0, 0, 0]), K.LR_REFERENCE_RED_C_MODE1, delta=1e-3)
        self.assertAlmostEqual(float(t[2][0, 0, 0]), K.LR_REFERENCE_RED_C_MODE2, delta=1e-3)

    def test_tables_are_sane_for_the_library_calibration(self):
        # Each colour is read mostly by its own channel, the black window sees
        # a small part of the emission, and the difference ratios stay defined.
        for m, t in factory.lightregression_reference_tables().items():
            with self.subTest(model_mode=m):
                self.assertEqual(t.shape, (3, 2, 5))
                for colour, ch in ((0, 1), (1, 2), (2, 3)):
                    self.assertEqual(int(np.argmax(t[colour, 0, 1:4])) + 1, ch)
                share = t[:, 1] / t[:, 0]
                self.assertTrue(np.all((share > 0.01) & (share < 0.2)), share)

    def test_default_unit_table_is_the_other_modes_table(self):
        unit_table = factory.lightregression_factory(model.reference_unit())
        np.testing.assert_array_equal(unit_table, factory.lightregression_reference_tables()[0])


class LuxCnnReference(unittest.TestCase):
    def test_colour_params_match_golden_in_modes_0_to_2(self):
        golden = factory.luxcnn_golden()
        for m in range(3):
            with self.subTest(mode=m):
                got = factory.luxcnn_colour_params(model.reference_unit(), m).ravel()
                np.testing.assert_allclose(got, golden[m], rtol=2e-6, atol=2e-3)

    def test_location_samples_fit_to_the_reference_centre(self):
        loc = factory.luxcnn_location_samples(model.reference_unit())
        p = gaussfit.fit(loc[0], loc[1], loc[2] / loc[2].max())
        self.assertIsNotNone(p)
        np.testing.assert_allclose(p[:2], K.LUXCNN_REFERENCE_CENTRES[0], atol=0.01)

    def test_default_weight_maps_peak_at_their_reference_centre(self):
        for m in (0, 1, 2, 4):
            with self.subTest(mode=m):
                w = factory.luxcnn_default_weight_map(m)
                self.assertEqual(w.shape, (101, 101))
                self.assertAlmostEqual(float(w.sum(dtype=np.float64)), 1.0, places=5)
                row, col = np.unravel_index(np.argmax(w), w.shape)
                cx, cy = K.LUXCNN_REFERENCE_CENTRES[m if m in (1, 2) else 0]
                self.assertLessEqual(abs(col + K.PATCH_ORIGIN[0] - cx), 0.5)
                self.assertLessEqual(abs(row + K.PATCH_ORIGIN[1] - cy), 0.5)


class LuminanceTable(unittest.TestCase):
    def test_anchors_exact_and_curve_monotone(self):
        t = calibrate.luminance_table()
        self.assertEqual(t.shape, (14064,))
        self.assertEqual(t.dtype, np.float32)
        for code, nits in K.LUMINANCE_ANCHORS:
            self.assertEqual(t[code], np.float32(nits), code)
        self.assertTrue(np.all(np.diff(t) > 0))
        # The low colour point of the LuxCNN calibration sits near 30 nits.
        self.assertAlmostEqual(float(t[K.LUXCNN_LOW_CODE]), 30.0, delta=1.0)


class AmbientScale(unittest.TestCase):
    def test_lux_formula_reads_daylight_through_a_black_screen(self):
        wr, wg, wb, _ = K.LUX_FORMULA
        for lux in (1.0, 300.0, 100000.0):
            b = render(model.reference_unit(), solid_screens([[0, 0, 0]]), lux=lux, illuminant=0)
            c = b["nblk"][0].astype(float)
            self.assertAlmostEqual((wr * c[1] + wg * c[2] + wb * c[3]) / lux, 1.0, places=5)

    def test_lux_formula_error_for_other_illuminants_is_moderate(self):
        wr, wg, wb, _ = K.LUX_FORMULA
        for i, name in enumerate(K.ILLUMINANTS):
            with self.subTest(illuminant=name):
                a = model.ambient_counts(model.reference_unit(), [i], [1000.0])[0]
                self.assertLess(abs((wr * a[1] + wg * a[2] + wb * a[3]) / 1000.0 - 1.0), 0.15)


if __name__ == "__main__":
    unittest.main()
