"""Command line: python3 -m tools.sim {dataset,session,factory,table} ..."""

import argparse
import json
import sys
import time

import numpy as np

from . import calibrate
from . import constants as K
from . import factory
from . import formats
from . import frames
from . import model
from . import scenes
from . import session


def _kinds(text):
    kinds = tuple(k for k in text.split(",") if k)
    bad = [k for k in kinds if k not in scenes.SCENE_KINDS]
    if bad or not kinds:
        raise argparse.ArgumentTypeError("scene kinds are %s" % ",".join(scenes.SCENE_KINDS))
    return kinds


def _units(args):
    if args.reference:
        return [model.reference_unit()]
    return [model.make_unit(args.seed, args.first_unit + i) for i in range(args.units)]


def cmd_dataset(args):
    rng = np.random.default_rng(args.seed)
    start = time.time()
    batches, unit_rows = [], []
    for unit in _units(args):
        batches.append(frames.generate(unit, args.frames, rng, kinds=args.kinds, noise=not args.no_noise,
                                       keep_screen=args.keep_screen, codes=tuple(args.codes)))
        unit_rows.append(dict(unit.to_dict(), factory=factory.unit_factory_data(unit)))
    batch = frames.concat(batches)
    meta = {"seed": args.seed, "units": unit_rows, "channels": list(K.CHANNELS),
            "illuminants": list(K.ILLUMINANTS), "scenes": list(scenes.SCENE_KINDS),
            "capture_scope": list(K.CAPTURE_SCOPE), "patch_origin": list(K.PATCH_ORIGIN),
            "noise": not args.no_noise}
    formats.save_dataset(args.out, batch, meta, compress=args.compress)
    print("%s: %d frames of %d unit(s) in %.1f s" % (args.out, len(batch["lux"]), len(unit_rows),
                                                     time.time() - start), file=sys.stderr)


def cmd_session(args):
    rng = np.random.default_rng(args.seed)
    unit = model.reference_unit() if args.reference else model.make_unit(args.seed, args.first_unit)
    batch, times = session.simulate_session(unit, args.frames, rng, fps=args.fps,
                                            display_mode=args.display_mode, kinds=args.kinds,
                                            noise=not args.no_noise)
    meta = {"seed": args.seed, "fps": args.fps, "unit": unit.to_dict(),
            "factory": factory.unit_factory_data(unit), "capture_scope": list(K.CAPTURE_SCOPE),
            "channels": list(K.CHANNELS)}
    formats.write_session(args.out, batch, times, meta, with_patch=args.with_patch)
    print("%s: %d frames" % (args.out, args.frames), file=sys.stderr)


def cmd_factory(args):
    unit = model.reference_unit() if args.reference else model.make_unit(args.seed, args.first_unit)
    out = {"unit": unit.to_dict(), "factory": factory.unit_factory_data(unit),
           "lightregression_reference": {str(m): t.tolist()
                                         for m, t in factory.lightregression_reference_tables().items()},
           "luxcnn_golden": factory.luxcnn_golden().tolist(),
           "luxcnn_reference_centres": [list(c) for c in K.LUXCNN_REFERENCE_CENTRES]}
    json.dump(out, sys.stdout, indent=1)
    sys.stdout.write("\n")


def cmd_table(args):
    table = calibrate.luminance_table()
    with open(args.out, "w") as f:
        for v in table:
            f.write("%.9g\n" % v)


def main(argv=None):
    p = argparse.ArgumentParser(prog="python3 -m tools.sim", description=__doc__)
    sub = p.add_subparsers(dest="cmd", required=True)

    def unit_args(q, many):
        q.add_argument("--seed", type=int, default=1, help="seed of units, scenes and noise")
        q.add_argument("--reference", action="store_true", help="use the reference unit")
        q.add_argument("--first-unit", type=int, default=0, help="index of the first unit")
        if many:
            q.add_argument("--units", type=int, default=1, help="number of units")

    d = sub.add_parser("dataset", help="random frames to an npz file")
    d.add_argument("--out", required=True)
    d.add_argument("--frames", type=int, default=1000, help="frames per unit")
    d.add_argument("--kinds", type=_kinds, default=scenes.SCENE_KINDS)
    d.add_argument("--codes", type=int, nargs=2, default=(0, K.MAX_CODE), metavar=("LO", "HI"))
    d.add_argument("--no-noise", action="store_true")
    d.add_argument("--keep-screen", action="store_true", help="also store the rendered windows")
    d.add_argument("--compress", action="store_true")
    unit_args(d, True)
    d.set_defaults(fn=cmd_dataset)

    s = sub.add_parser("session", help="a recorded session (JSON lines and PPM captures)")
    s.add_argument("--out", required=True, help="directory")
    s.add_argument("--frames", type=int, default=300)
    s.add_argument("--fps", type=float, default=10.0)
    s.add_argument("--display-mode", type=int, choices=range(6))
    s.add_argument("--kinds", type=_kinds, default=scenes.SCENE_KINDS)
    s.add_argument("--with-patch", action="store_true", help="also write the LuxCNN patches")
    s.add_argument("--no-noise", action="store_true")
    unit_args(s, False)
    s.set_defaults(fn=cmd_session)

    f = sub.add_parser("factory", help="factory data of a unit and the reference data (JSON)")
    unit_args(f, False)
    f.set_defaults(fn=cmd_factory)

    t = sub.add_parser("table", help="the luminance table, one value per line")
    t.add_argument("--out", required=True)
    t.set_defaults(fn=cmd_table)

    args = p.parse_args(argv)
    args.fn(args)
    return 0


if __name__ == "__main__":
    sys.exit(main())
