"""Physical sanity of the panel and sensor model."""

import itertools
import unittest

import numpy as np

from tools.sim import constants as K
from tools.sim import model
from tools.sim.tests.helpers import WIN_H, WIN_W, WIN_X, WIN_Y, render, solid_screens

REF = model.reference_unit()


def square_screens(sides, centre=K.REFERENCE_SPOT_CENTRE, value=255):
    out = np.zeros((len(sides), WIN_H, WIN_W, 3), np.uint8)
    cx, cy = int(round(centre[0])) - WIN_X, int(round(centre[1])) - WIN_Y
    for i, s in enumerate(sides):
        h = s // 2
        out[i, max(0, cy - h):cy + h + 1, max(0, cx - h):cx + h + 1] = value
    return out


class Leakage(unittest.TestCase):
    def test_grows_with_brightness_in_every_mode_and_channel(self):
        codes = [1, 4, 500, 3104, 3105, 6104, 6105, 9000, 12000, 14063]
        for mode in range(6):
            with self.subTest(mode=mode):
                b = render(REF, solid_screens([[200, 180, 160]] * len(codes)), brightness=codes,
                           display_mode=mode)
                self.assertTrue(np.all(np.diff(b["screen_nblk"].astype(float), axis=0) > 0))

    def test_grows_with_white_content(self):
        for screens in (solid_screens([[v, v, v] for v in (0, 16, 64, 128, 200, 255)]),
                        square_screens([1, 5, 15, 31, 61, 121])):
            s = render(REF, screens)["screen_nblk"].astype(float)
            self.assertTrue(np.all(np.diff(s, axis=0) > 0), s)

    def test_light_far_from_the_spot_leaks_less(self):
        near = render(REF, square_screens([9]))
        far = render(REF, square_screens([9], centre=(K.REFERENCE_SPOT_CENTRE[0] + 40,
                                                      K.REFERENCE_SPOT_CENTRE[1] + 40)))
        self.assertTrue(np.all(far["screen_nblk"] < 0.05 * near["screen_nblk"]))

    def test_black_screen_leaves_only_ambient(self):
        for lux, ill in ((0.0, 0), (250.0, 3)):
            b = render(REF, solid_screens([[0, 0, 0]]), brightness=14063, lux=lux, illuminant=ill)
            self.assertEqual(b["screen_nblk"].max(), 0.0)
            self.assertEqual(b["screen_blk"].max(), 0.0)
            np.testing.assert_array_equal(b["blk"], b["ambient"])
            np.testing.assert_array_equal(b["nblk"], b["ambient"])

    def test_black_window_sees_a_residual_that_dc_dimming_raises(self):
        colours = [[255, 0, 0], [0, 255, 0], [0, 0, 255], [255, 255, 255]]
        pwm = render(REF, solid_screens(colours), dc_state=0)
        dc = render(REF, solid_screens(colours), dc_state=1)
        share_pwm, share_dc = (b["screen_blk"] / b["screen_nblk"] for b in (pwm, dc))
        self.assertTrue(np.all((share_pwm >= min(K.BLK_RESIDUAL_PWM) - 1e-6) &
                               (share_pwm <= max(K.BLK_RESIDUAL_PWM) + 1e-6)))
        self.assertTrue(np.all(share_dc > 3 * share_pwm))

    def test_current_limit_dims_bright_full_white_only(self):
        def clear(colour, display_mode=0):
            b = render(REF, solid_screens([colour] * 4), brightness=14063, acl=[0, 1, 2, 3], display_mode=display_mode)
            return b["screen_nblk"][:, 0]

        self.assertTrue(np.all(np.diff(clear([255, 255, 255])) < 0))
        # Not on red, nor in the XDR mode.
        for c in (clear([255, 0, 0]), clear([255, 255, 255], display_mode=3)):
            np.testing.assert_array_equal(c, c[0])

    def test_display_modes_are_distinct_colour_settings(self):
        colours = [[255, 255, 255], [255, 0, 0], [0, 255, 0], [0, 0, 255], [128, 128, 128]]
        per_mode = [render(REF, solid_screens(colours), display_mode=m)["screen_nblk"] for m in range(6)]
        for a, b in itertools.combinations(range(6), 2):
            self.assertGreater(np.abs(per_mode[a] / per_mode[b] - 1.0).max(), 0.01, (a, b))

    def test_model_mode_scales_both_windows(self):
        b = render(REF, solid_screens([[90, 200, 40]] * 3), screen_hop_mode=[0, 1, 2])
        self.assertEqual(b["model_mode"].tolist(), [2, 1, 0])
        ratio = b["screen_nblk"][:2] / b["screen_nblk"][2]
        np.testing.assert_allclose(ratio[0], K.LR_REFERENCE_RED_C_MODE2 / K.LR_REFERENCE_RED_OTHER[0], rtol=1e-5)
        np.testing.assert_allclose(ratio[1], K.LR_REFERENCE_RED_C_MODE1 / K.LR_REFERENCE_RED_OTHER[0], rtol=1e-5)
        np.testing.assert_allclose(b["screen_blk"][:2] / b["screen_blk"][2], ratio, rtol=1e-5)


class Ambient(unittest.TestCase):
    def test_linear_in_lux_for_every_illuminant(self):
        lux = np.array([0.0, 1.0, 10.0, 1000.0, 100000.0])
        for ill in range(len(K.ILLUMINANTS)):
            with self.subTest(illuminant=K.ILLUMINANTS[ill]):
                a = model.ambient_counts(REF, np.full(5, ill), lux)
                np.testing.assert_array_equal(a[0], 0.0)
                np.testing.assert_allclose(a[1:] / lux[1:, None], np.broadcast_to(a[1], (4, 5)), rtol=1e-12)

    def test_illuminants_differ_in_colour(self):
        a = model.ambient_counts(REF, np.arange(4), np.full(4, 100.0))
        wide_to_clear = a[:, 4] / a[:, 0]
        # The wide-band channel sees the incandescent lamp's infrared.
        self.assertEqual(int(np.argmax(wide_to_clear)), K.ILLUMINANTS.index("incandescent"))


class Noise(unittest.TestCase):
    def test_seeded_and_of_the_stated_size(self):
        screens = solid_screens([[120, 120, 120]] * 600)
        a = render(REF, screens, rng=np.random.default_rng(3), lux=50.0)
        b = render(REF, screens, rng=np.random.default_rng(3), lux=50.0)
        np.testing.assert_array_equal(a["nblk"], b["nblk"])
        mean = a["ambient"][0].astype(float) + a["screen_nblk"][0]
        expected = np.sqrt(K.NOISE_SHOT * mean + K.NOISE_READ ** 2)
        np.testing.assert_allclose(a["nblk"].std(axis=0), expected, rtol=0.15)
        np.testing.assert_allclose(a["nblk"].mean(axis=0), mean, rtol=2e-3)
        self.assertGreaterEqual(a["blk"].min(), 0.0)

    def test_flicker_separates_the_two_windows_under_mains_lamps(self):
        screens = solid_screens([[0, 0, 0]] * 300)
        for ill, lo, hi in ((0, 0.0, 0.002), (3, 0.02, 0.2)):
            b = render(REF, screens, rng=np.random.default_rng(4), lux=20000.0, illuminant=ill)
            rel = np.abs(b["nblk"][:, 0] - b["blk"][:, 0]) / b["ambient"][:, 0]
            self.assertTrue(lo <= rel.mean() <= hi, (K.ILLUMINANTS[ill], rel.mean()))


if __name__ == "__main__":
    unittest.main()
