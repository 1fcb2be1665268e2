"""Library-facing frame layout, scenes, and the dataset and session formats."""

import io
import contextlib
import os
import tempfile
import unittest

import numpy as np

from tools.sim import __main__ as cli
from tools.sim import constants as K
from tools.sim import formats
from tools.sim import frames
from tools.sim import model
from tools.sim import scenes
from tools.sim import session


class SampleGrid(unittest.TestCase):
    def test_follows_the_library_sampling_rule(self):
        rng = np.random.default_rng(0)
        for h, w in ((81, 51), (81, 102), (80, 50)):
            cap = rng.integers(0, 256, (1, h, w, 3))
            grid = frames.sample_grid(cap)[0]
            for i, j in ((0, 0), (80, 50), (40, 25), (13, 7), (1, 1)):
                np.testing.assert_array_equal(grid[i, j], cap[0, (i * h) // 81, (j * w) // 51], (h, w, i, j))

    def test_eye_parameters_round_half_away_from_zero(self):
        cap = np.array([10, -10, 6]).reshape(1, 1, 1, 3) * np.ones((1, 81, 51, 3), int)
        grid = frames.sample_grid(cap, eye=(0.25, 0.25, 0.5))
        self.assertEqual(grid[0, 0, 0].tolist(), [3, -3, 3])


class Frames(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.batch = frames.generate(model.make_unit(2, 1), 96, np.random.default_rng(5), chunk=40)

    def test_shapes_and_types_match_the_library_entry_points(self):
        b = self.batch
        self.assertEqual(b["capture"].shape, (96, 80, 50, 3))
        self.assertEqual(b["sample_grid"].shape, (96, 81, 51, 3))
        self.assertEqual(b["patch"].shape, (96, 101, 101, 3))
        self.assertEqual(frames.luxcnn_input(b["patch"][:2]).shape, (2, 101, 101, 4))
        self.assertEqual(frames.capture_vector(b["capture"][0]).size, 3 * 50 * 80)
        for k in ("nblk", "blk", "screen_nblk", "screen_blk", "ambient"):
            self.assertEqual(b[k].shape, (96, 5), k)
            self.assertGreaterEqual(b[k].min(), 0.0, k)
        self.assertTrue(np.all((b["brightness"] >= 0) & (b["brightness"] <= K.MAX_CODE)))
        np.testing.assert_array_equal(b["model_mode"], model.model_mode(b["screen_hop_mode"]))

    def test_capture_and_patch_come_from_the_same_window(self):
        b = self.batch
        # Capture pixel (x, y) = (826, 84) is patch pixel (50, 50).
        cx, cy = 826 - K.CAPTURE_SCOPE[0], 84 - K.CAPTURE_SCOPE[1]
        np.testing.assert_array_equal(b["capture"][:, cy, cx], b["patch"][:, 50, 50])

    def test_generation_is_seeded(self):
        again = frames.generate(model.make_unit(2, 1), 96, np.random.default_rng(5), chunk=40)
        for k, v in self.batch.items():
            np.testing.assert_array_equal(v, again[k], k)


class Scenes(unittest.TestCase):
    def test_every_kind_renders_a_window(self):
        for kind in scenes.SCENE_KINDS:
            with self.subTest(kind=kind):
                s = scenes.generate(kind, np.random.default_rng(1), 3)
                self.assertEqual(s.shape, (3, K.WINDOW[3], K.WINDOW[2], 3))
                self.assertEqual(s.dtype, np.uint8)
                if kind == "black":
                    self.assertEqual(s.max(), 0)
                else:
                    self.assertGreater(s.max(), 0)

    def test_video_frames_change_gradually(self):
        v = scenes.video_clip(np.random.default_rng(3), 6).astype(float)
        step = np.abs(np.diff(v, axis=0)).mean()
        unrelated = np.abs(v[0] - scenes.video_clip(np.random.default_rng(4), 1)[0]).mean()
        self.assertLess(step, unrelated)


class Formats(unittest.TestCase):
    def test_dataset_round_trip(self):
        b = frames.generate(model.reference_unit(), 8, np.random.default_rng(1))
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "x.npz")
            formats.save_dataset(path, b, {"seed": 1, "units": [model.reference_unit().to_dict()]})
            got, meta = formats.load_dataset(path)
        self.assertEqual(set(got), set(b))
        for k in b:
            np.testing.assert_array_equal(got[k], b[k], k)
        self.assertEqual(meta["seed"], 1)
        self.assertEqual(model.Unit.from_dict(meta["units"][0]), model.reference_unit())

    def test_session_round_trip(self):
        unit = model.make_unit(3, 0)
        b, t = session.simulate_session(unit, 25, np.random.default_rng(2), fps=5.0)
        with tempfile.TemporaryDirectory() as d:
            formats.write_session(d, b, t, {"unit": unit.to_dict()}, with_patch=True)
            meta, recs = formats.read_session(d)
        self.assertEqual((meta["frames"], len(recs)), (25, 25))
        for i, r in enumerate(recs):
            self.assertAlmostEqual(r["time"], i * 0.2)
            for k in ("capture", "patch"):
                np.testing.assert_array_equal(r[k + "_pixels"], b[k][i])
            for k in ("nblk", "blk"):
                np.testing.assert_allclose(r[k], b[k][i], rtol=1e-7)
            self.assertEqual(r["brightness"], int(b["brightness"][i]))
            self.assertAlmostEqual(r["lux"], float(b["lux"][i]), places=3)
            self.assertEqual((r["capture_width"], r["capture_height"]), (50, 80))

    def test_ppm_rejects_other_formats(self):
        with tempfile.TemporaryDirectory() as d:
            p = os.path.join(d, "a.ppm")
            with open(p, "wb") as f:
                f.write(b"P5\n2 2\n255\n\0\0\0\0")
            with self.assertRaises(ValueError):
                formats.read_ppm(p)

    def test_command_line_writes_a_loadable_dataset(self):
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "cli.npz")
            with contextlib.redirect_stderr(io.StringIO()):
                cli.main(["dataset", "--out", path, "--units", "2", "--frames", "6", "--seed", "4",
                          "--kinds", "ui,black"])
            b, meta = formats.load_dataset(path)
        self.assertEqual(b["lux"].shape, (12,))
        self.assertEqual(sorted(set(b["unit"].tolist())), [0, 1])
        self.assertTrue(set(b["scene"].tolist()) <= {2, 0})
        self.assertEqual(np.array(meta["units"][1]["factory"]["lightregression"]).shape, (3, 2, 5))


if __name__ == "__main__":
    unittest.main()
