"""The importer against fixture files written here: PyTorch state dicts
(skipped without python3-torch) and Keras HDF5 weights (skipped without
python3-h5py). A converted set must run, through the independent numpy
reference of the layers, to the same outputs as the source model."""
import contextlib
import io
import os
import sys
import tempfile
import unittest

import numpy as np

from tools.modeldata import safetensors_io
from tools.train import import_model, layout

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "reference"))
import nn_ref  # noqa: E402

try:
    import torch
    from torch import nn
    from tools.train import nets
    HAVE_TORCH = True
except ImportError:
    HAVE_TORCH = False
try:
    import h5py
    HAVE_H5PY = True
except ImportError:
    HAVE_H5PY = False

NO_TORCH = "python3-torch is not installed: PyTorch import tests skipped (apt-get install python3-torch)"
NO_H5PY = "python3-h5py is not installed: Keras import tests skipped (apt-get install python3-h5py)"


def reference_forward(network, t, rng):
    """Random input through the converted tensors of one set (numpy, HWC)."""
    def convs(x, names):
        for name, stride in zip(names, (2, 1, 1)):
            x = nn_ref.maxpool2x2(nn_ref.relu(nn_ref.conv2d_valid(x, t[f"{name}/kernel"], t[f"{name}/bias"], stride)))
        return x

    def dense(x, name, kernel="kernel"):
        return nn_ref.relu(nn_ref.dense(x, t[f"{name}/{kernel}"], t[f"{name}/bias"]))

    if network == "light_regression":
        img, feat = rng.random((81, 51, 3)), rng.random(5) * 3
        a, b = dense(convs(img, ("layer1", "layer3", "layer5")), "layer9"), dense(feat, "layer10")
        return (img, feat), dense(np.concatenate([a, b]), "layer12")
    x0 = rng.random((101, 101, 4))
    h = dense(convs(x0, ("conv0", "conv1", "conv2")), "dense1", "matrix")
    return (x0,), dense(h, "dense2", "matrix")


def run_cli(*argv):
    err = io.StringIO()
    with contextlib.redirect_stderr(err), contextlib.redirect_stdout(io.StringIO()):
        code = import_model.main(list(argv))
    return code, err.getvalue()


def write_keras(path, layers, wrap=False):
    """A file laid out as Keras' save_weights writes it: layer_names on the
    root (or under model_weights), weight_names per layer."""
    with h5py.File(path, "w") as f:
        root = f.create_group("model_weights") if wrap else f
        root.attrs["layer_names"] = np.array([n.encode() for n, _ in layers])
        for name, weights in layers:
            g = root.create_group(name)
            wn = [f"{name}/{k}:0" for k, _ in weights]
            g.attrs["weight_names"] = np.array([w.encode() for w in wn])
            for w, (_, a) in zip(wn, weights):
                g.create_dataset(w, data=a)


class LayoutChecks(unittest.TestCase):
    """Mapping rules that need no framework."""

    def test_channel_major_flatten_is_reordered_to_rows_columns_channels(self):
        h, w, c = layout.LUX_CNN["flat_shape"]
        m = np.arange(h * w * c)[:, None].astype(float)  # row i holds i
        out = layout.chw_to_hwc_rows(m, (h, w, c))
        # Row (y, x, ch) of the library reads the channel-major index ch*h*w + y*w + x.
        for y, x, ch in ((0, 0, 1), (3, 2, 31), (1, 3, 0)):
            self.assertEqual(out[(y * w + x) * c + ch, 0], ch * h * w + y * w + x)

    def test_shape_count_and_value_errors_name_the_layer(self):
        rng = np.random.default_rng(0)
        pairs = [(f"l{i}", rng.random(s[::-1] if len(s) == 2 else (s[3], s[2], 3, 3)), rng.random(b))
                 for i, (_, s, b) in enumerate(layout.expected_shapes(layout.LUX_CNN))]
        layout.from_torch(layout.LUX_CNN, pairs)  # well formed
        nan = pairs[4][1].copy()
        nan[0, 0] = np.nan
        for i, pair, text in ((3, ("fc", rng.random((32, 500)), rng.random(32)),
                               r"layer fc \(dense1\) weight has shape \[32, 500\], expected \[32, 512\]"),
                              (0, ("c0", pairs[0][1], None), r"layer c0 \(conv0\) has no bias"),
                              (4, ("out", nan, pairs[4][2]), r"layer out \(dense2\): non-finite values"),
                              (None, None, r"4 weighted layers found .* has 5")):
            with self.subTest(text=text):
                bad = pairs[:4] if i is None else pairs[:i] + [pair] + pairs[i + 1:]
                with self.assertRaisesRegex(layout.LayoutError, text):
                    layout.from_torch(layout.LUX_CNN, bad)

    def test_bad_inputs_exit_1_with_a_clear_message(self):
        rng = np.random.default_rng(6)
        with tempfile.TemporaryDirectory() as d:
            def path(name, content=None):
                p = os.path.join(d, name)
                if content is not None:
                    with open(p, "wb") as f:
                        f.write(content)
                return p

            cases = [("mode3/band0", "x.pt", "unknown weight set 'mode3/band0'"),
                     ("mode0/band0", path("none.pt"), "none.pt: no such file")]
            if HAVE_TORCH:
                torch.save(nets.LightRegressionNet().state_dict(), path("lr.pt"))
                cases += [("mode0/band0", path("junk.pt", b"not a checkpoint"), "not a readable PyTorch state dict"),
                          ("mode0/band0", path("lr.pt"), "6 weighted layers found")]
            if HAVE_H5PY:
                conv = [("kernel", rng.random((3, 3, 4, 32))), ("bias", rng.random(32))]
                with h5py.File(path("plain.h5"), "w") as f:
                    f.create_dataset("x", data=np.zeros(3))
                bn = [("gamma", rng.random(32)), ("beta", rng.random(32))]
                write_keras(path("bn.h5"), [("conv", conv), ("bn", bn)])
                write_keras(path("short.h5"), [("conv", [("kernel", rng.random((3, 3, 3, 32))), conv[1]])])
                cases += [("mode0/band0", path("plain.h5"), "no 'layer_names' attribute"),
                          ("mode0/band0", path("bn.h5"), "layer bn holds weight 'bn/gamma:0'"),
                          ("mode0/band0", path("short.h5"), "1 weighted layers found (conv (3, 3, 3, 32))")]
            for name, src, text in cases:
                with self.subTest(text=text):
                    code, err = run_cli("--network", "lux_cnn", "--no-base", "--set", f"{name}={src}",
                                        "--out", os.path.join(d, "o.safetensors"))
                    self.assertEqual(code, 1)
                    self.assertIn(text, err)


@unittest.skipUnless(HAVE_TORCH, NO_TORCH)
class TorchImport(unittest.TestCase):
    def check_set(self, network, tensors, prefix, torch_model, rng):
        t = {k[len(prefix) + 1:]: v for k, v in tensors.items() if k.startswith(prefix + "/")}
        inputs, ref = reference_forward(network, t, rng)
        with torch.no_grad():
            args = [torch.from_numpy(np.ascontiguousarray(a.transpose(2, 0, 1) if a.ndim == 3 else a))[None]
                    for a in inputs]
            got = torch_model.double()(*args)[0].numpy()
        np.testing.assert_allclose(ref, got, rtol=1e-5, atol=1e-5)

    def test_whole_files_of_both_networks(self):
        rng = np.random.default_rng(3)
        for network, cls in (("light_regression", nets.LightRegressionNet), ("lux_cnn", nets.LuxCNNNet)):
            with self.subTest(network=network), tempfile.TemporaryDirectory() as d:
                torch.manual_seed(1)
                models, args = {}, []
                for s in layout.NETWORKS[network]["sets"]:
                    models[s] = cls()
                    path = os.path.join(d, s.replace("/", "_") + ".pt")
                    torch.save(models[s].state_dict(), path)
                    args += ["--set", f"{s}={path}"]
                out = os.path.join(d, "out.safetensors")
                code, err = run_cli("--network", network, "--no-base", *args, "--out", out)
                self.assertEqual(code, 0, err)
                tensors, meta = safetensors_io.read(out)
                self.assertIn("imported", meta)
                for s in (layout.NETWORKS[network]["sets"][0], layout.NETWORKS[network]["sets"][-1]):
                    self.check_set(network, tensors, s, models[s], rng)

    def test_other_module_names_map_by_order_and_base_fills_the_rest(self):
        class Seq(nn.Module):  # the same network written as one Sequential, saved in a checkpoint dict
            def __init__(self):
                super().__init__()
                self.body = nn.Sequential(nn.Conv2d(4, 32, 3, 2), nn.ReLU(), nn.MaxPool2d(2), nn.Conv2d(32, 32, 3),
                                          nn.ReLU(), nn.MaxPool2d(2), nn.Conv2d(32, 32, 3), nn.ReLU(),
                                          nn.MaxPool2d(2), nn.Flatten(), nn.Linear(512, 32), nn.ReLU(),
                                          nn.Linear(32, 4), nn.ReLU())

            def forward(self, x):
                return self.body(x)

        rng = np.random.default_rng(4)
        torch.manual_seed(2)
        with tempfile.TemporaryDirectory() as d:
            base = os.path.join(d, "base.safetensors")
            safetensors_io.write(base, {f"{s}/{k}": np.full(v, 0.5, np.float32)
                                        for s in layout.LUX_CNN["sets"]
                                        for k, v in (("conv0/kernel", (3, 3, 4, 32)),)}, {"content": "x"})
            m = Seq()
            path = os.path.join(d, "seq.pt")
            torch.save({"state_dict": m.state_dict(), "epoch": 3}, path)
            out = os.path.join(d, "out.safetensors")
            code, err = run_cli("--network", "lux_cnn", "--base", base, "--set", f"mode1/band2={path}", "--out", out)
            self.assertEqual(code, 0, err)
            tensors, _ = safetensors_io.read(out)
            self.check_set("lux_cnn", tensors, "mode1/band2", m, rng)
            np.testing.assert_array_equal(tensors["mode0/band0/conv0/kernel"], 0.5)

    def test_loading_a_data_file_set_gives_back_the_exported_model(self):
        # The parity goldens run models loaded from the data files: the load
        # must invert the export exactly.
        torch.manual_seed(5)
        for cls in (nets.LightRegressionNet, nets.LuxCNNNet):
            with self.subTest(net=cls.__name__):
                m = cls()
                t = {f"s/{k}": v for k, v in nets.export_set(m, nets.model_name(m)).items()}
                back = nets.load_set(cls(), t, "s")
                for k, v in m.state_dict().items():
                    torch.testing.assert_close(back.state_dict()[k], v, rtol=0, atol=0)


@unittest.skipUnless(HAVE_H5PY, NO_H5PY)
class KerasImport(unittest.TestCase):
    def test_light_regression_set_runs_like_its_source(self):
        rng = np.random.default_rng(5)
        shapes = layout.expected_shapes(layout.LIGHT_REGRESSION)
        src = {p: (rng.normal(0, 0.3, k), rng.normal(0, 0.1, b)) for p, k, b in shapes}
        layers = [("input_1", [])]
        for i, (p, _, _) in enumerate(shapes):
            layers.append((f"{'conv2d' if i < 3 else 'dense'}_{i}", [("kernel", src[p][0]), ("bias", src[p][1])]))
            if i == 2:
                layers.append(("max_pooling2d_2", []))
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "w.h5")
            write_keras(path, layers, wrap=True)
            out = os.path.join(d, "o.safetensors")
            code, err = run_cli("--network", "light_regression", "--no-base",
                                *sum((["--set", f"{s}={path}"] for s in layout.LIGHT_REGRESSION["sets"]), []),
                                "--out", out)
            self.assertEqual(code, 0, err)
            tensors, _ = safetensors_io.read(out)
        for p, _, _ in shapes:  # Keras layouts are the library's: copied unchanged
            np.testing.assert_array_equal(tensors[f"mode2/level3/{p}/kernel"], src[p][0].astype(np.float32))
            np.testing.assert_array_equal(tensors[f"mode2/level3/{p}/bias"], src[p][1].astype(np.float32))


if __name__ == "__main__":
    unittest.main()
