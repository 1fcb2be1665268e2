"""Independent numpy reference of the network layers used by both models.

Tensors are [rows][columns][channels] (channel fastest), kernels
[kernel row][kernel column][in][out], dense matrices [in][out]. Everything is
computed in float64 so that the reference sits closer to the exact result than
the float32 code under test; compare with max(1e-5, 1e-6 * |ref|) or a relative
1e-5 as the tests state.
"""
import numpy as np


def conv2d_valid(x, kernel, bias, stride):
    """3x3 (or any size) convolution without padding; bias added after the sum."""
    x = np.asarray(x, dtype=np.float64)
    k = np.asarray(kernel, dtype=np.float64)
    kh, kw, cin, cout = k.shape
    rows = (x.shape[0] - kh) // stride + 1
    cols = (x.shape[1] - kw) // stride + 1
    out = np.zeros((rows, cols, cout))
    for ky in range(kh):
        for kx in range(kw):
            patch = x[ky:ky + stride * (rows - 1) + 1:stride, kx:kx + stride * (cols - 1) + 1:stride, :]
            out += patch @ k[ky, kx]
    return out + np.asarray(bias, dtype=np.float64)


def relu(x):
    return np.maximum(x, 0.0)


def maxpool2x2(x):
    """2x2 max pooling, stride 2; an odd last row or column is dropped."""
    rows, cols = x.shape[0] // 2, x.shape[1] // 2
    x = x[:2 * rows, :2 * cols, :]
    return x.reshape(rows, 2, cols, 2, x.shape[2]).max(axis=(1, 3))


def dense(x, matrix, bias):
    return np.asarray(x, dtype=np.float64).reshape(-1) @ np.asarray(matrix, dtype=np.float64) + np.asarray(
        bias, dtype=np.float64)
