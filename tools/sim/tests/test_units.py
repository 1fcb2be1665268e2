"""Per-unit variation and the factory data of varied units."""

import unittest

import numpy as np

from tools.sim import constants as K
from tools.sim import factory
from tools.sim import model
from tools.sim.tests import gaussfit

UNITS = [model.make_unit(11, i) for i in range(40)]


class Variation(unittest.TestCase):
    def test_parameters_stay_within_the_stated_bounds(self):
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

    def test_units_are_reproducible_and_distinct(self):
        self.assertEqual(model.make_unit(11, 3), UNITS[3])
        self.assertNotEqual(model.make_unit(12, 3), UNITS[3])
        self.assertEqual(len({u.spot_centre for u in UNITS}), len(UNITS))
        self.assertEqual(model.Unit.from_dict(UNITS[5].to_dict()), UNITS[5])

    def test_variation_actually_spans_its_range(self):
        gains = np.array([u.channel_gain for u in UNITS])
        self.assertGreater(gains.max() - gains.min(), K.UNIT_CHANNEL_GAIN_SPREAD)


class FactoryOfUnits(unittest.TestCase):
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

    def test_luxcnn_colour_params_pass_the_library_colour_check(self):
        bounds = np.array(K.LUXCNN_COLOUR_BOUNDS, float)
        for u in UNITS[:10]:
            for mode in range(3):
                c = factory.luxcnn_colour_params(u, mode, rng=np.random.default_rng(u.index)).ravel()
                self.assertTrue(np.all((c >= bounds[:, 0]) & (c <= bounds[:, 1])), (u.index, mode, c))

    def test_location_fit_finds_each_unit_within_the_accepted_window(self):
        for u in UNITS[:12]:
            loc = factory.luxcnn_location_samples(u, rng=np.random.default_rng(u.index))
            p = gaussfit.fit(loc[0], loc[1], loc[2] / loc[2].max())
            self.assertIsNotNone(p)
            np.testing.assert_allclose(p[:2], u.spot_centre, atol=0.3)
            self.assertTrue(K.LOCATION_ACCEPT_X[0] <= p[0] <= K.LOCATION_ACCEPT_X[1])
            self.assertTrue(K.LOCATION_ACCEPT_Y[0] <= p[1] <= K.LOCATION_ACCEPT_Y[1])

    def test_shifted_spot_moves_the_true_weight_map(self):
        u = UNITS[0]
        w = factory.spot_patch(u.spot_centre, u.spot_sigma_scale)
        row, col = np.unravel_index(np.argmax(w), w.shape)
        self.assertLessEqual(abs(col + K.PATCH_ORIGIN[0] - u.spot_centre[0]), 0.5)
        self.assertLessEqual(abs(row + K.PATCH_ORIGIN[1] - u.spot_centre[1]), 0.5)


if __name__ == "__main__":
    unittest.main()
