"""The two networks in PyTorch, layer for layer as the library runs them:
valid 3x3 convolutions (the first with stride 2), 2x2 max pools that drop an
odd last row or column, flatten, dense layers with ReLU on every output, the
last included. Tensors are NCHW here; the export reorders the flatten to the
library's row, column, channel order (layout.chw_to_hwc_rows).
"""
import numpy as np
import torch
from torch import nn
import torch.nn.functional as F

from . import layout


class LightRegressionNet(nn.Module):
    """Image [B, 3, 81, 51] in 0..1 and features [B, 5] -> five outputs."""

    def __init__(self):
        super().__init__()
        self.layer1 = nn.Conv2d(3, 32, 3, stride=2)
        self.layer3 = nn.Conv2d(32, 32, 3)
        self.layer5 = nn.Conv2d(32, 32, 3)
        self.layer9 = nn.Linear(96, 32)
        self.layer10 = nn.Linear(5, 32)
        self.layer12 = nn.Linear(64, 5)

    def forward(self, image, features):
        x = F.max_pool2d(F.relu(self.layer1(image)), 2)   # 20 x 12
        x = F.max_pool2d(F.relu(self.layer3(x)), 2)       # 9 x 5
        x = F.max_pool2d(F.relu(self.layer5(x)), 2)       # 3 x 1
        a = F.relu(self.layer9(torch.flatten(x, 1)))
        b = F.relu(self.layer10(features))
        return F.relu(self.layer12(torch.cat([a, b], 1)))


class LuxCNNNet(nn.Module):
    """Input [B, 4, 101, 101] (r, g, b / 255 and the brightness channel) ->
    r, g, b, c screen light over the band divisor."""

    def __init__(self):
        super().__init__()
        self.conv0 = nn.Conv2d(4, 32, 3, stride=2)
        self.conv1 = nn.Conv2d(32, 32, 3)
        self.conv2 = nn.Conv2d(32, 32, 3)
        self.dense1 = nn.Linear(512, 32)
        self.dense2 = nn.Linear(32, 4)

    def forward(self, x):
        x = F.max_pool2d(F.relu(self.conv0(x)), 2)  # 25
        x = F.max_pool2d(F.relu(self.conv1(x)), 2)  # 11
        x = F.max_pool2d(F.relu(self.conv2(x)), 2)  # 4
        return F.relu(self.dense2(F.relu(self.dense1(torch.flatten(x, 1)))))


NET_CLASSES = {"light_regression": LightRegressionNet, "lux_cnn": LuxCNNNet}


def state_dict_pairs(state_dict):
    """[(layer name, weight, bias)] of a state dict's weighted layers in the
    order the dict holds them (the order the model registered them)."""
    pairs, index = [], {}
    for key, value in state_dict.items():
        if not hasattr(value, "shape"):
            continue
        base, _, kind = key.rpartition(".")
        if kind not in ("weight", "bias"):
            continue
        if base not in index:
            index[base] = len(pairs)
            pairs.append([base, None, None])
        arr = value.detach().cpu().double().numpy() if torch.is_tensor(value) else np.asarray(value)
        pairs[index[base]][1 if kind == "weight" else 2] = arr
    missing = [p[0] for p in pairs if p[1] is None]
    if missing:
        raise layout.LayoutError(f"state dict: layer {missing[0]} has a bias but no weight")
    return [tuple(p) for p in pairs]


def export_set(model, net_name):
    """The tensors of one weight set from a model of this module."""
    return layout.from_torch(layout.NETWORKS[net_name], state_dict_pairs(model.state_dict()), flatten="chw")


def load_set(model, tensors, prefix):
    """Loads a weight set of a data file into a model (inverse of export_set)."""
    net = layout.NETWORKS[model_name(model)]
    kernel_name, bias_name = net["dense_names"]
    sd = model.state_dict()
    for layer, kind, _, _ in net["layers"]:
        k = tensors[f"{prefix}/{layer}/{'kernel' if kind == 'conv' else kernel_name}"].astype(np.float64)
        b = tensors[f"{prefix}/{layer}/{bias_name}"].astype(np.float64)
        if kind == "conv":
            k = k.transpose(3, 2, 0, 1)
        else:
            if layer == net["flat_layer"]:
                h, w, c = net["flat_shape"]
                idx = np.arange(h * w * c).reshape(c, h, w).transpose(1, 2, 0).reshape(-1)
                inv = np.empty_like(idx)
                inv[idx] = np.arange(len(idx))
                k = k[inv]
            k = k.T
        sd[f"{layer}.weight"] = torch.from_numpy(np.ascontiguousarray(k)).to(sd[f"{layer}.weight"].dtype)
        sd[f"{layer}.bias"] = torch.from_numpy(np.ascontiguousarray(b)).to(sd[f"{layer}.bias"].dtype)
    model.load_state_dict(sd)
    return model


def model_name(model):
    return "light_regression" if isinstance(model, LightRegressionNet) else "lux_cnn"
