"""Minimal reader and writer of the safetensors format (float32 only).

Layout: 8-byte little-endian header length N, then N bytes of JSON mapping each
tensor name to {"dtype", "shape", "data_offsets": [begin, end]} (offsets into
the data that follows the header), optionally "__metadata__" (string to
string), then the raw little-endian tensor data. Training frameworks export
this format; the build turns it into compiled-in arrays (tools/modelgen).
"""
import json
import struct

import numpy as np


def write(path, tensors, metadata=None):
    """tensors: dict name -> array (converted to little-endian float32), kept in sorted order."""
    header = {}
    blobs = []
    offset = 0
    for name in sorted(tensors):
        a = np.ascontiguousarray(np.asarray(tensors[name], dtype="<f4"))
        if not np.all(np.isfinite(a)):
            raise ValueError(f"tensor {name}: non-finite values")
        raw = a.tobytes()
        header[name] = {"dtype": "F32", "shape": list(a.shape), "data_offsets": [offset, offset + len(raw)]}
        blobs.append(raw)
        offset += len(raw)
    if metadata:
        header["__metadata__"] = {str(k): str(v) for k, v in metadata.items()}
    text = json.dumps(header, separators=(",", ":"), sort_keys=True).encode()
    text += b" " * (-len(text) % 8)  # keep the data 8-byte aligned
    with open(path, "wb") as f:
        f.write(struct.pack("<Q", len(text)))
        f.write(text)
        for raw in blobs:
            f.write(raw)


def read(path):
    """Returns (dict name -> float32 array, metadata dict)."""
    with open(path, "rb") as f:
        data = f.read()
    (n,) = struct.unpack("<Q", data[:8])
    header = json.loads(data[8:8 + n])
    metadata = header.pop("__metadata__", {})
    base = 8 + n
    out = {}
    for name, entry in header.items():
        if entry["dtype"] != "F32":
            raise ValueError(f"tensor {name}: dtype {entry['dtype']}, expected F32")
        b, e = entry["data_offsets"]
        out[name] = np.frombuffer(data[base + b:base + e], dtype="<f4").reshape(entry["shape"])
    return out, metadata
