#pragma once

// Least-squares fit of an elliptical 2-D Gaussian without offset,
//   F(x, y) = A * exp(-(u*u + v*v)),  u = (x - x0) / (sqrt(2) sx),  v = (y - y0) / (sqrt(2) sy),
// to exactly 16 samples. Parameters p[5] = {x0, y0, A, sx, sy}. Everything is
// double precision on caller-supplied arrays: no heap, no state, reentrant.
// Results are 1 for success and 0 for failure.
#include "platform/Export.h"

// Number of samples every function expects.
constexpr int kGaussSamples = 16;
// Number of fit parameters.
constexpr int kGaussParams = 5;

// Fits from a self-made initial guess; writes p[5] only on success.
SC_EXPORT int gaussian2DFit(double* x, double* y, double* z, double* p);
// Initial guess from the sample extremes and the z-weighted centroid; always 1.
SC_EXPORT int estimateParams(double* x, double* y, double* z, double* p);
// The fit loop from pIn; pOut always holds the last parameters.
SC_EXPORT int gaussNewton(double* x, double* y, double* z, double* pIn, double* pOut);
// f[i] = F(x[i], y[i]); with withJacobian >= 1 also J[i][k] = d r_i / d p_k
// for the residual r_i = z_i - f_i.
SC_EXPORT void computeJacobian(double* x, double* y, double* p, double (*J)[5], double* f, int withJacobian);
// One damped (Levenberg) Gauss-Newton step on p; updates lambda in place.
SC_EXPORT int iteration(double* x, double* y, double* z, double* p, double* stepNorm, double* lambda);
// Solves (J^T J + lambda I) delta = J^T r for J[16][5], r[16].
SC_EXPORT int linearLeastSquares(double (*J)[5], double* r, double* delta, double lambda);
// A = L L^T for a 5x5 A; L must be all zero on entry.
SC_EXPORT int choleskyDecomposition(double (*A)[5], double (*L)[5]);
// Solves L y = b.
SC_EXPORT void performForwardSubstitution(double (*L)[5], double* b, double* y);
// Solves L^T x = y, reading the lower factor transposed.
SC_EXPORT void performBackSubstitution(double (*L)[5], double* y, double* x);
