"""Trains the thirteen LightRegression sets and the nine LuxCNN sets on
simulated frames and writes the library's data files.

    /usr/bin/python3 -m tools.train.train [--seed 7] [--only light_regression|lux_cnn]

Per network: frames for every set are simulated (LightRegression: the
reference unit and varied units, each frame scaled with the library's
calibration of its unit; LuxCNN: the reference unit), 15 % of each set are
held out, one base model learns all sets together, then each set is
fine-tuned from it. The loss is the mean squared error over channels, each
channel divided by its RMS target in the set. Everything is seeded; PyTorch
runs on one thread.
"""
import argparse
import json
import os
import sys
import time

import numpy as np
import torch

from tools.modeldata import safetensors_io
from tools.sim import calibrate, factory
from . import data, nets

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
LR_DIR = os.path.join(ROOT, "models", "light_regression", "data")
LC_DIR = os.path.join(ROOT, "models", "lux_cnn", "data")
LR_WEIGHTS = "light_regression_trained_sim_v1.safetensors"
LR_TABLES = "light_regression_reference_tables_sim_v1.safetensors"
LC_WEIGHTS = "lux_cnn_trained_sim_v1.safetensors"
LC_TABLES = "lux_cnn_tables.safetensors"
HELD_OUT = 0.15
UNIT_SEED = 101      # training units; the evaluation uses other seeds
VARIED_UNITS = 3


def log(*a):
    print(time.strftime("%H:%M:%S"), *a, flush=True)


def split(n, rng):
    idx = rng.permutation(n)
    k = int(round(n * HELD_OUT))
    return idx[k:], idx[:k]


class SetData:
    """Inputs, targets and per-channel loss scale of one weight set."""

    def __init__(self, name, inputs, target, rng):
        self.name = name
        self.inputs = inputs
        self.target = torch.from_numpy(target)
        self.train, self.held = split(len(target), rng)
        rms = np.sqrt(np.mean(target[self.train].astype(np.float64) ** 2, axis=0)) + 1e-3
        self.scale = torch.from_numpy(rms.astype(np.float32))


def lr_batch(s, idx):
    grid = torch.from_numpy(s.inputs["grid"][idx]).permute(0, 3, 1, 2).float() / 255.0
    return (grid, torch.from_numpy(s.inputs["features"][idx])), s.target[idx]


def lc_batch(s, idx):
    x = torch.from_numpy(data.lc_input(s.inputs["patch"][idx], s.inputs["brightness"][idx], s.inputs["divisor"]))
    return (x.permute(0, 3, 1, 2).contiguous(),), s.target[idx]


def loss_of(model, batch_fn, s, idx):
    args, y = batch_fn(s, idx)
    return torch.mean(((model(*args) - y) / s.scale) ** 2)


def evaluate(model, batch_fn, s, idx, bs=256):
    model.eval()
    total = 0.0
    with torch.no_grad():
        for i in range(0, len(idx), bs):
            j = idx[i:i + bs]
            total += float(loss_of(model, batch_fn, s, j)) * len(j)
    model.train()
    return total / max(len(idx), 1)


def fit(model, batch_fn, sets, epochs, lr, rng, bs=32):
    """Adam over the train parts of `sets` (batches never mix sets), cosine
    decay of the step size."""
    opt = torch.optim.Adam(model.parameters(), lr=lr)
    batches = []
    for si, s in enumerate(sets):
        batches += [(si, k) for k in range(0, len(s.train), bs)]
    steps = max(epochs * len(batches), 1)
    sched = torch.optim.lr_scheduler.LambdaLR(opt, lambda t: 0.5 * (1 + np.cos(np.pi * min(t, steps) / steps)))
    model.train()
    for _ in range(epochs):
        perm = {si: rng.permutation(s.train) for si, s in enumerate(sets)}
        for bi in rng.permutation(len(batches)):
            si, k = batches[bi]
            opt.zero_grad()
            loss = loss_of(model, batch_fn, sets[si], perm[si][k:k + bs])
            loss.backward()
            opt.step()
            sched.step()
    return model


def init_output(model, layer, sets):
    """Small positive output bias so that no output starts dead behind its ReLU."""
    with torch.no_grad():
        getattr(model, layer).bias.fill_(0.05)


def train_network(name, sets, batch_fn, net_cls, out_layer, epochs_base, epochs_set, seed, rng):
    torch.manual_seed(seed)
    base = net_cls()
    init_output(base, out_layer, sets)
    t = time.time()
    fit(base, batch_fn, sets, epochs_base, 2e-3, rng)
    log(f"{name}: base model, {epochs_base} epochs over {sum(len(s.train) for s in sets)} frames, "
        f"{time.time() - t:.0f} s")
    tensors, held = {}, {}
    for s in sets:
        m = net_cls()
        m.load_state_dict(base.state_dict())
        before = evaluate(m, batch_fn, s, s.held)
        fit(m, batch_fn, [s], epochs_set, 5e-4, rng)
        after = evaluate(m, batch_fn, s, s.held)
        if after > before:  # fine-tuning overfitted this set: keep the base
            m.load_state_dict(base.state_dict())
            after = before
        held[s.name] = round(after, 5)
        log(f"{name} {s.name}: held-out loss {before:.4f} (base) -> {after:.4f}")
        for k, v in nets.export_set(m, name).items():
            tensors[f"{s.name}/{k}"] = v
    return tensors, held


def metadata(kind, args, sets, held, epochs_base, epochs_set, seconds, extra):
    return {
        "content": f"{kind} trained on simulated frames (tools/sim); not measured on a device",
        "trainer": "tools/train/train.py (PyTorch " + torch.__version__ + ", one CPU thread)",
        "seed": str(args.seed),
        "frames_per_set": json.dumps({s.name: len(s.target) for s in sets}),
        "held_out_fraction": str(HELD_OUT),
        "epochs": f"{epochs_base} base over all sets + {epochs_set} per set",
        "held_out_loss": json.dumps(held),
        "loss": "mean squared error per channel over the RMS target of the set",
        "training_seconds": f"{seconds:.0f}",
        **extra,
    }


def train_light_regression(args):
    t0 = time.time()
    rng = np.random.default_rng(args.seed)
    units, tables = data.training_units(UNIT_SEED, VARIED_UNITS)
    sets = []
    for name, mode, level, codes in data.lr_sets():
        b = data.lr_generate(units, tables, mode, codes, args.lr_frames, rng)
        sets.append(SetData(name, {"grid": b["grid"], "features": b["features"]}, b["target"], rng))
    log(f"light_regression: simulated {sum(len(s.target) for s in sets)} frames in {time.time() - t0:.0f} s")
    tensors, held = train_network("light_regression", sets, lr_batch, nets.LightRegressionNet, "layer12",
                                  args.lr_epochs_base, args.lr_epochs_set, args.seed, rng)
    secs = time.time() - t0
    meta = metadata("LightRegression weights", args, sets, held, args.lr_epochs_base, args.lr_epochs_set, secs, {
        "units": f"reference unit + {VARIED_UNITS} varied units (tools.sim.model.make_unit({UNIT_SEED}, i))",
        "inputs": "sample grid / 255; (nblk - blk) / 1000 / color_k_diff, negatives 0",
        "target": "true screen light in nblk / 1000 / color_k_nblk",
    })
    safetensors_io.write(os.path.join(args.out_lr, LR_WEIGHTS), tensors, meta)
    ref = data.lr_reference_tables()
    safetensors_io.write(os.path.join(args.out_lr, LR_TABLES),
                         {"reference/other": ref[0], "reference/mode1": ref[1], "reference/mode2": ref[2]},
                         {"content": "LightRegression reference tables of the simulated reference unit "
                                     "(tools.sim.factory.lightregression_reference_tables); red group 0 of the "
                                     "other modes and red channel 0 of modes 1 and 2 are the fixed values",
                          "layout": "[colour r, g, b][group blk, nblk][channel c, r, g, b, w]"})
    log(f"light_regression: done in {secs:.0f} s")


def train_lux_cnn(args):
    t0 = time.time()
    rng = np.random.default_rng(args.seed + 1)
    ref_unit = data.model.reference_unit()
    sets = []
    for name, mode, band, (_, _, divisor) in data.lc_sets():
        b = data.lc_generate(ref_unit, mode, band, args.lc_frames, rng)
        sets.append(SetData(name, {"patch": b["patch"], "brightness": b["brightness"], "divisor": divisor},
                            b["target"], rng))
    log(f"lux_cnn: simulated {sum(len(s.target) for s in sets)} frames in {time.time() - t0:.0f} s")
    tensors, held = train_network("lux_cnn", sets, lc_batch, nets.LuxCNNNet, "dense2",
                                  args.lc_epochs_base, args.lc_epochs_set, args.seed, rng)
    secs = time.time() - t0
    meta = metadata("LuxCNN weights", args, sets, held, args.lc_epochs_base, args.lc_epochs_set, secs, {
        "units": "reference unit, model mode 0 timing, noise-free screen light",
        "inputs": "patch / 255 and luminance(code) / band divisor",
        "target": "true screen light r, g, b, c in nblk / band divisor",
    })
    safetensors_io.write(os.path.join(args.out_lc, LC_WEIGHTS), tensors, meta)
    tables = {"luminance": calibrate.luminance_table().astype(np.float32)}
    for m in range(3):
        tables[f"mode{m}/weight_map"] = factory.luxcnn_default_weight_map(m)
    safetensors_io.write(os.path.join(args.out_lc, LC_TABLES), tables, {
        "content": "panel luminance table and default weight maps of the simulated reference unit",
        "luminance": "tools.sim.calibrate.luminance_table(): exact at codes 0, 1, 4, 3104, 6104, 14063",
        "weight_map": "tools.sim.factory.luxcnn_default_weight_map(mode): the reference spot (core and halo) "
                      "at the mode's reference centre over the patch, sum 1"})
    log(f"lux_cnn: done in {secs:.0f} s")


def main(argv=None):
    p = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    p.add_argument("--seed", type=int, default=7)
    p.add_argument("--only", choices=("light_regression", "lux_cnn"))
    p.add_argument("--lr-frames", type=int, default=1024, help="simulated frames per LightRegression set")
    p.add_argument("--lc-frames", type=int, default=768, help="simulated frames per LuxCNN set")
    p.add_argument("--lr-epochs-base", type=int, default=10)
    p.add_argument("--lr-epochs-set", type=int, default=3)
    p.add_argument("--lc-epochs-base", type=int, default=4)
    p.add_argument("--lc-epochs-set", type=int, default=1)
    p.add_argument("--out-lr", default=LR_DIR)
    p.add_argument("--out-lc", default=LC_DIR)
    p.add_argument("--threads", type=int, default=1)
    args = p.parse_args(argv)
    torch.set_num_threads(args.threads)
    t = time.time()
    if args.only in (None, "light_regression"):
        train_light_regression(args)
    if args.only in (None, "lux_cnn"):
        train_lux_cnn(args)
    log(f"total {time.time() - t:.0f} s")


if __name__ == "__main__":
    sys.exit(main())
