"""Imports externally trained weights into a model data file.

    /usr/bin/python3 -m tools.train.import_model --network light_regression \\
        --set other/level3=ours.pt --set mode1/level1=keras_weights.h5 \\
        [--base models/light_regression/data/light_regression_trained_sim_v1.safetensors] \\
        --out new.safetensors

Each --set names a weight set of the data file and the file holding it:
- a PyTorch state dict (.pt/.pth, torch.load with weights_only): the weighted
  layers in the order the dict holds them (the model's registration order),
  Conv2d weights [out][in][kh][kw] and Linear weights [out][in]. The first
  dense layer's input is taken as a channel-major flatten of the pooled map
  (torch.flatten of NCHW), unless --flatten hwc says the model permuted to
  channels-last before flattening;
- a Keras HDF5 weights file (.h5/.hdf5, model.save_weights or model.save in
  the HDF5 format): the layers with weights in the file's layer order,
  Conv2D kernels [kh][kw][in][out] and Dense kernels [in][out], channels-last.
Layers are mapped by order onto the network's weighted layers
(LightRegression: layer1, layer3, layer5 convolutions, layer9 dense on the
image branch, layer10 on the five features, layer12 on the concatenation;
LuxCNN: conv0..conv2, dense1, dense2) and every shape is checked. Sets not
given come from --base (default: the compiled-in data file). Replace the
data file and its name in the model's sources.cmake and Android.bp to build
with the result.
"""
import argparse
import os
import sys

import numpy as np

from tools.modeldata import safetensors_io
from . import layout

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
DEFAULT_BASE = {
    "light_regression": "models/light_regression/data/light_regression_trained_sim_v1.safetensors",
    "lux_cnn": "models/lux_cnn/data/lux_cnn_trained_sim_v1.safetensors",
}


def torch_pairs(path):
    try:
        import torch
    except ImportError:
        raise layout.LayoutError(f"{path}: reading a PyTorch file needs PyTorch (apt-get install python3-torch)")
    try:
        obj = torch.load(path, map_location="cpu", weights_only=True)
    except Exception as e:  # noqa: BLE001 - any unreadable file is reported the same way
        raise layout.LayoutError(f"{path}: not a readable PyTorch state dict ({e})")
    if isinstance(obj, dict) and "state_dict" in obj and isinstance(obj["state_dict"], dict):
        obj = obj["state_dict"]
    if not isinstance(obj, dict):
        raise layout.LayoutError(f"{path}: holds a {type(obj).__name__}, expected a state dict")
    from .nets import state_dict_pairs
    return state_dict_pairs(obj)


def keras_pairs(path):
    try:
        import h5py
    except ImportError:
        raise layout.LayoutError(f"{path}: reading a Keras HDF5 file needs h5py (apt-get install python3-h5py)")
    try:
        f = h5py.File(path, "r")
    except OSError as e:
        raise layout.LayoutError(f"{path}: not a readable HDF5 file ({e})")
    with f:
        root = f["model_weights"] if "model_weights" in f else f
        if "layer_names" not in root.attrs:
            raise layout.LayoutError(f"{path}: no 'layer_names' attribute: not a Keras HDF5 weights file")
        pairs = []
        for lname in root.attrs["layer_names"]:
            lname = lname.decode() if isinstance(lname, bytes) else str(lname)
            g = root[lname]
            names = [n.decode() if isinstance(n, bytes) else str(n) for n in g.attrs.get("weight_names", [])]
            if not names:
                continue
            kernel = bias = None
            for n in names:
                short = n.split("/")[-1].split(":")[0]
                if short == "kernel":
                    kernel = np.asarray(g[n], dtype=np.float64)
                elif short == "bias":
                    bias = np.asarray(g[n], dtype=np.float64)
                else:
                    raise layout.LayoutError(f"{path}: layer {lname} holds weight '{n}', which these networks "
                                             "do not have (only kernel and bias)")
            if kernel is None:
                raise layout.LayoutError(f"{path}: layer {lname} has no kernel")
            pairs.append((lname, kernel, bias))
        return pairs


def convert_file(network, path, flatten="chw"):
    """The tensors of one weight set (names without the set prefix)."""
    net = layout.NETWORKS[network]
    if not os.path.isfile(path):
        raise layout.LayoutError(f"{path}: no such file")
    with open(path, "rb") as fh:
        magic = fh.read(8)
    if magic == b"\x89HDF\r\n\x1a\n":
        return layout.from_keras(net, keras_pairs(path), source=path)
    return layout.from_torch(net, torch_pairs(path), flatten=flatten, source=path)


def build(network, assignments, base_path, flatten="chw"):
    """assignments: [(set name, file)] -> (tensors of the whole data file, metadata)."""
    net = layout.NETWORKS[network]
    tensors, meta = {}, {}
    if base_path:
        tensors, meta = safetensors_io.read(base_path)
    imported = []
    for set_name, path in assignments:
        if set_name not in net["sets"]:
            raise layout.LayoutError(f"unknown weight set '{set_name}' of {network}; sets: {', '.join(net['sets'])}")
        for k, v in convert_file(network, path, flatten).items():
            tensors[f"{set_name}/{k}"] = v
        imported.append(f"{set_name}={os.path.basename(path)}")
    missing = [s for s in net["sets"] if f"{s}/{net['layers'][0][0]}/kernel" not in tensors]
    if missing:
        raise layout.LayoutError(f"no weights for set(s) {', '.join(missing)}: give them with --set or --base")
    meta = dict(meta)
    meta["imported"] = ", ".join(imported)
    meta["content"] = (meta.get("content", "") + "; imported sets replaced").lstrip("; ")
    return tensors, meta


def main(argv=None):
    p = argparse.ArgumentParser(description="Import externally trained weights into a model data file.")
    p.add_argument("--network", required=True, choices=sorted(layout.NETWORKS))
    p.add_argument("--set", action="append", default=[], metavar="SET=FILE",
                   help="weight set and the PyTorch or Keras file that holds it (repeatable)")
    p.add_argument("--base", help="data file giving the sets not imported (default: the compiled-in file)")
    p.add_argument("--no-base", action="store_true", help="every set must be given with --set")
    p.add_argument("--flatten", choices=("chw", "hwc"), default="chw",
                   help="flatten order of a PyTorch model before its first dense layer (default chw)")
    p.add_argument("--out", required=True)
    args = p.parse_args(argv)
    assignments = []
    for a in args.set:
        name, sep, path = a.partition("=")
        if not sep or not path:
            p.error(f"--set {a}: expected SET=FILE")
        assignments.append((name, path))
    if not assignments:
        p.error("nothing to import: give at least one --set")
    base = None if args.no_base else (args.base or os.path.join(ROOT, DEFAULT_BASE[args.network]))
    try:
        tensors, meta = build(args.network, assignments, base, args.flatten)
        safetensors_io.write(args.out, tensors, meta)
    except (layout.LayoutError, ValueError, OSError) as e:
        print(f"import_model: {e}", file=sys.stderr)
        return 1
    print(f"import_model: wrote {args.out} ({len(assignments)} set(s) imported)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
