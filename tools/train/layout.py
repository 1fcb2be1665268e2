"""Weight layout of the two networks, shared by the trainer and the importer.

No framework is imported here: the functions take numpy arrays as a
framework stores them and return the tensors of one weight set as the data
files hold them (convolution kernels [kh][kw][in][out], dense matrices
[in][out], flatten order row, column, channel).
"""
import numpy as np

# Weighted layers in forward order: (tensor prefix, kind, in, out, conv input
# rows/cols after the previous layers or None).
LIGHT_REGRESSION = {
    "name": "light_regression",
    "layers": [
        ("layer1", "conv", 3, 32),
        ("layer3", "conv", 32, 32),
        ("layer5", "conv", 32, 32),
        ("layer9", "dense", 96, 32),
        ("layer10", "dense", 5, 32),
        ("layer12", "dense", 64, 5),
    ],
    "dense_names": ("kernel", "bias"),
    # Pooled map before the flatten: rows, columns, channels.
    "flat_shape": (3, 1, 32),
    "flat_layer": "layer9",
    "sets": [f"mode1/level{i}" for i in range(1, 5)] + [f"mode2/level{i}" for i in range(1, 5)]
    + [f"other/level{i}" for i in range(1, 6)],
}

LUX_CNN = {
    "name": "lux_cnn",
    "layers": [
        ("conv0", "conv", 4, 32),
        ("conv1", "conv", 32, 32),
        ("conv2", "conv", 32, 32),
        ("dense1", "dense", 512, 32),
        ("dense2", "dense", 32, 4),
    ],
    "dense_names": ("matrix", "bias"),
    "flat_shape": (4, 4, 32),
    "flat_layer": "dense1",
    "sets": [f"mode{m}/band{b}" for m in range(3) for b in range(3)],
}

NETWORKS = {"light_regression": LIGHT_REGRESSION, "lux_cnn": LUX_CNN}


class LayoutError(ValueError):
    """A weight file that does not fit the network; the text says where."""


def expected_shapes(net):
    """[(prefix, kernel shape in the data file, bias shape)] in forward order."""
    out = []
    for prefix, kind, cin, cout in net["layers"]:
        out.append((prefix, (3, 3, cin, cout) if kind == "conv" else (cin, cout), (cout,)))
    return out


def chw_to_hwc_rows(matrix, flat_shape):
    """Reorders the input rows of a dense matrix [in][out] from a
    channel-major flatten (c, h, w) to the row, column, channel flatten."""
    h, w, c = flat_shape
    idx = np.arange(h * w * c).reshape(c, h, w).transpose(1, 2, 0).reshape(-1)
    return matrix[idx]


def from_torch(net, pairs, flatten="chw", source="state dict"):
    """pairs: [(name, weight, bias)] of the weighted layers in forward order,
    PyTorch layouts (conv [out][in][kh][kw], linear [out][in]). Returns
    {tensor suffix: float32 array} of one weight set."""
    return _convert(net, pairs, "torch", flatten, source)


def from_keras(net, pairs, source="HDF5 file"):
    """pairs as from_torch with Keras layouts (conv [kh][kw][in][out], dense
    [in][out], channels-last flatten)."""
    return _convert(net, pairs, "keras", "hwc", source)


def _convert(net, pairs, framework, flatten, source):
    layers = expected_shapes(net)
    kinds = [k for _, k, _, _ in net["layers"]]
    if len(pairs) != len(layers):
        found = ", ".join(f"{n} {tuple(np.shape(w))}" for n, w, _ in pairs) or "none"
        raise LayoutError(f"{source}: {len(pairs)} weighted layers found ({found}), "
                          f"the {net['name']} network has {len(layers)}")
    kernel_name, bias_name = net["dense_names"]
    out = {}
    for (src_name, weight, bias), (prefix, kshape, bshape), kind in zip(pairs, layers, kinds):
        weight = np.asarray(weight, dtype=np.float64)
        if framework == "torch":
            if kind == "conv":
                want = (kshape[3], kshape[2], 3, 3)
                _check(source, src_name, "weight", weight.shape, want, prefix)
                weight = weight.transpose(2, 3, 1, 0)
            else:
                want = (kshape[1], kshape[0])
                _check(source, src_name, "weight", weight.shape, want, prefix)
                weight = weight.T
        else:
            _check(source, src_name, "kernel", weight.shape, kshape, prefix)
        if bias is None:
            raise LayoutError(f"{source}: layer {src_name} ({prefix}) has no bias")
        bias = np.asarray(bias, dtype=np.float64)
        _check(source, src_name, "bias", bias.shape, bshape, prefix)
        if prefix == net["flat_layer"] and flatten == "chw":
            weight = chw_to_hwc_rows(weight, net["flat_shape"])
        name = "kernel" if kind == "conv" else kernel_name
        for n, a in ((f"{prefix}/{name}", weight), (f"{prefix}/{bias_name}", bias)):
            if not np.all(np.isfinite(a)):
                raise LayoutError(f"{source}: layer {src_name} ({prefix}): non-finite values")
            out[n] = np.ascontiguousarray(a, dtype=np.float32)
    return out


def _check(source, src_name, what, shape, want, prefix):
    if tuple(shape) != tuple(want):
        raise LayoutError(f"{source}: layer {src_name} ({prefix}) {what} has shape {list(shape)}, "
                          f"expected {list(want)}")
