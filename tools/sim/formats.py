"""File formats: the npz dataset, the recorded session (JSON lines plus one
PPM image per capture) and PPM images."""

import json
import os

import numpy as np

from . import constants as K
from . import scenes

FORMAT_VERSION = 1


def save_dataset(path, batch, meta, compress=False):
    """Write a frame batch (dict of arrays) and a JSON-able meta dict to npz."""
    arrays = dict(batch)
    meta = dict(meta, format_version=FORMAT_VERSION)
    arrays["meta_json"] = np.array(json.dumps(meta, sort_keys=True))
    (np.savez_compressed if compress else np.savez)(path, **arrays)


def load_dataset(path):
    """(batch dict, meta dict) of a dataset file."""
    with np.load(path, allow_pickle=False) as z:
        batch = {k: z[k] for k in z.files if k != "meta_json"}
        meta = json.loads(str(z["meta_json"]))
    if meta.get("format_version") != FORMAT_VERSION:
        raise ValueError("%s: dataset format %r, expected %d" % (path, meta.get("format_version"), FORMAT_VERSION))
    return batch, meta


def write_ppm(path, image):
    """Binary PPM (P6), 8 bits: image uint8 (H, W, 3)."""
    image = np.ascontiguousarray(image, np.uint8)
    h, w = image.shape[:2]
    with open(path, "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (w, h))
        f.write(image.tobytes())


def read_ppm(path):
    with open(path, "rb") as f:
        data = f.read()
    fields, pos = [], 0
    while len(fields) < 4:
        while data[pos:pos + 1].isspace():
            pos += 1
        if data[pos:pos + 1] == b"#":
            pos = data.index(b"\n", pos) + 1
            continue
        end = pos
        while not data[end:end + 1].isspace():
            end += 1
        fields.append(data[pos:end])
        pos = end
    if fields[0] != b"P6" or int(fields[3]) != 255:
        raise ValueError("%s: not an 8-bit binary PPM" % path)
    w, h = int(fields[1]), int(fields[2])
    pixels = np.frombuffer(data, np.uint8, w * h * 3, pos + 1)
    return pixels.reshape(h, w, 3).copy()


SESSION_LOG = "session.jsonl"
SESSION_META = "session.json"


def write_session(directory, batch, times, meta, with_patch=False):
    """Session directory: session.json (meta), session.jsonl (one line per
    frame) and captures/NNNNNN.ppm (and patches/NNNNNN.ppm)."""
    os.makedirs(os.path.join(directory, "captures"), exist_ok=True)
    if with_patch:
        os.makedirs(os.path.join(directory, "patches"), exist_ok=True)
    meta = dict(meta, format_version=FORMAT_VERSION, frames=int(len(times)))
    with open(os.path.join(directory, SESSION_META), "w") as f:
        json.dump(meta, f, indent=1, sort_keys=True)
        f.write("\n")
    with open(os.path.join(directory, SESSION_LOG), "w") as f:
        for i, t in enumerate(times):
            cap = "captures/%06d.ppm" % i
            write_ppm(os.path.join(directory, cap), batch["capture"][i])
            rec = {
                "frame": i,
                "time": round(float(t), 6),
                "brightness": int(batch["brightness"][i]),
                "display_mode": int(batch["display_mode"][i]),
                "acl": int(batch["acl"][i]),
                "dc_state": int(batch["dc_state"][i]),
                "screen_hop_mode": int(batch["screen_hop_mode"][i]),
                "blk": [float(v) for v in batch["blk"][i]],
                "nblk": [float(v) for v in batch["nblk"][i]],
                "capture": cap,
                "capture_width": int(batch["capture"].shape[2]),
                "capture_height": int(batch["capture"].shape[1]),
                "lux": float(batch["lux"][i]),
                "illuminant": K.ILLUMINANTS[int(batch["illuminant"][i])],
                "scene": scenes.SCENE_KINDS[int(batch["scene"][i])],
                "screen_nblk": [float(v) for v in batch["screen_nblk"][i]],
                "screen_blk": [float(v) for v in batch["screen_blk"][i]],
            }
            if with_patch:
                rec["patch"] = "patches/%06d.ppm" % i
                write_ppm(os.path.join(directory, rec["patch"]), batch["patch"][i])
            f.write(json.dumps(rec) + "\n")


def read_session(directory, load_images=True):
    """(meta, records): each record a dict of the log line; with load_images,
    'capture_pixels' (and 'patch_pixels') hold the decoded images."""
    with open(os.path.join(directory, SESSION_META)) as f:
        meta = json.load(f)
    records = []
    with open(os.path.join(directory, SESSION_LOG)) as f:
        for line in f:
            if not line.strip():
                continue
            rec = json.loads(line)
            if load_images:
                rec["capture_pixels"] = read_ppm(os.path.join(directory, rec["capture"]))
                if "patch" in rec:
                    rec["patch_pixels"] = read_ppm(os.path.join(directory, rec["patch"]))
            records.append(rec)
    return meta, records
