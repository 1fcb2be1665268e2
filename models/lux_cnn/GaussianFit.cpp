#include "models/lux_cnn/GaussianFit.h"

#include <cmath>

#include "platform/Log.h"

namespace {

constexpr double kSqrt2 = 1.4142135623730951;
// Damping at which the step search gives up; from then on every step is a
// plain damped step.
constexpr double kLambdaMax = 10000.0;
// Damping is halved after a successful step only while above this floor.
constexpr double kLambdaFloor = 1e-5;
// The fit has converged once a step is no longer than this.
constexpr double kStepTolerance = 0.001;
constexpr int kMaxIterations = 100;

// Sum of squared residuals of the model with parameters p.
double sumOfSquares(double* x, double* y, double* z, double* p) {
    double f[kGaussSamples];
    computeJacobian(x, y, p, nullptr, f, 0);
    double sse = 0.0;
    for (int i = 0; i < kGaussSamples; ++i) {
        const double r = z[i] - f[i];
        sse += r * r;
    }
    return sse;
}

// The iteration loop shared by gaussian2DFit and gaussNewton: 1 when a step
// shorter than the tolerance came before the last allowed one.
int fitLoop(double* x, double* y, double* z, double* p, bool logNoisy) {
    double lambda = 1.0;
    double stepNorm = 1.0;
    int counter = kMaxIterations;
    do {
        const int ok = iteration(x, y, z, p, &stepNorm, &lambda);
        if (!ok) SC_LOGI("Algo_Lux_Cnn_Model: fit failed!\n");
        if (counter == 1) {
            // Even a converged last step counts as a failure.
            SC_LOGI("Algo_Lux_Cnn_Model: Warning: max iter reached!\n");
            if (logNoisy) SC_LOGI("Algo_Lux_Cnn_Model: data very noisy or contrast too low (or both)\n");
            return 0;
        }
        --counter;
        if (!ok) {
            if (logNoisy) SC_LOGI("Algo_Lux_Cnn_Model: data very noisy or contrast too low (or both)\n");
            return 0;
        }
    } while (stepNorm > kStepTolerance);
    return 1;
}

}  // namespace

int estimateParams(double* x, double* y, double* z, double* p) {
    double xmax = -1000000.0, ymax = -1000000.0, zmax = -1000000.0;
    double xmin = 1000000.0, ymin = 1000000.0, zmin = 1000000.0;
    for (int i = 0; i < kGaussSamples; ++i) {
        if (x[i] > xmax) xmax = x[i];
        if (x[i] < xmin) xmin = x[i];
        if (y[i] > ymax) ymax = y[i];
        if (y[i] < ymin) ymin = y[i];
        if (z[i] > zmax) zmax = z[i];
        if (z[i] < zmin) zmin = z[i];
    }
    double s = 0.0, sx = 0.0, sy = 0.0;
    for (int i = 0; i < kGaussSamples; ++i) {
        const double w = z[i] - zmin;
        s += w;
        sx += x[i] * w;
        sy += w * y[i];
    }
    const double a = zmax - zmin;
    // A quarter of the range stands for the sample spacing of a 4 x 4 grid;
    // 6.28 (not 2 pi) keeps the starting point of the tuned fit.
    const double sigma = std::sqrt(((ymax - ymin) * 0.25) * ((xmax - xmin) * 0.25 * s) / a / 6.28);
    p[0] = sx / s;
    p[1] = sy / s;
    p[2] = a;
    p[3] = sigma;
    p[4] = sigma;
    return 1;
}

void computeJacobian(double* x, double* y, double* p, double (*J)[5], double* f, int withJacobian) {
    const double x0 = p[0], y0 = p[1], a = p[2], sx = p[3], sy = p[4];
    for (int i = 0; i < kGaussSamples; ++i) {
        const double dx = x[i] - x0;
        const double dy = y[i] - y0;
        const double u = dx / (kSqrt2 * sx);
        const double v = dy / (kSqrt2 * sy);
        const double e = std::exp(-(u * u + v * v));
        f[i] = a * e + 0.0;
        if (withJacobian >= 1) {
            J[i][0] = (-2.0 * u) * a * e / (kSqrt2 * sx);
            J[i][1] = (-2.0 * v) * a * e / (kSqrt2 * sy);
            J[i][2] = -e;
            J[i][3] = dx * u * (-2.0 * a) / (sx * sx * kSqrt2) * e;
            J[i][4] = dy * v * (-2.0 * a) / (sy * sy * kSqrt2) * e;
        }
    }
}

int choleskyDecomposition(double (*A)[5], double (*L)[5]) {
    for (int k = 0; k < kGaussParams; ++k) {
        // The diagonal entry itself is still zero here, so it adds nothing.
        double s = 0.0;
        for (int j = 0; j <= k; ++j) s += L[k][j] * L[k][j];
        const double d = A[k][k] - s;
        if (d < 0.0) {
            SC_LOGI("Algo_Lux_Cnn_Model: Error: Matrix not positive definite\n");
            return 0;
        }
        L[k][k] = std::sqrt(d);
        for (int m = k + 1; m < kGaussParams; ++m) {
            double t = 0.0;
            for (int j = 0; j < k; ++j) t += L[k][j] * L[m][j];
            L[m][k] = (A[m][k] - t) / L[k][k];
        }
    }
    return 1;
}

void performForwardSubstitution(double (*L)[5], double* b, double* y) {
    for (int k = 0; k < kGaussParams; ++k) {
        double s = 0.0;
        for (int j = 0; j < k; ++j) s += L[k][j] * y[j];
        y[k] = (b[k] - s) / L[k][k];
    }
}

void performBackSubstitution(double (*L)[5], double* y, double* x) {
    for (int k = kGaussParams - 1; k >= 0; --k) {
        double s = 0.0;
        for (int j = k + 1; j < kGaussParams; ++j) s += L[j][k] * x[j];
        x[k] = (y[k] - s) / L[k][k];
    }
}

int linearLeastSquares(double (*J)[5], double* r, double* delta, double lambda) {
    double a[kGaussParams][kGaussParams];
    double b[kGaussParams];
    for (int k = 0; k < kGaussParams; ++k) {
        for (int j = 0; j < kGaussParams; ++j) {
            double s = 0.0;
            for (int i = 0; i < kGaussSamples; ++i) s += J[i][k] * J[i][j];
            a[k][j] = s;
        }
        a[k][k] += lambda;
        double s = 0.0;
        for (int i = 0; i < kGaussSamples; ++i) s += J[i][k] * r[i];
        b[k] = s;
    }
    double l[kGaussParams][kGaussParams] = {};
    if (!choleskyDecomposition(a, l)) return 0;
    double t[kGaussParams];
    performForwardSubstitution(l, b, t);
    performBackSubstitution(l, t, delta);
    return 1;
}

int iteration(double* x, double* y, double* z, double* p, double* stepNorm, double* lambda) {
    double J[kGaussSamples][kGaussParams];
    double f[kGaussSamples];
    double r[kGaussSamples];
    double delta[kGaussParams];
    computeJacobian(x, y, p, J, f, 1);
    for (int i = 0; i < kGaussSamples; ++i) r[i] = z[i] - f[i];

    if (*lambda >= kLambdaMax) {
        if (!linearLeastSquares(J, r, delta, *lambda)) return 0;
    } else {
        double sse0 = 0.0;
        for (int i = 0; i < kGaussSamples; ++i) sse0 += r[i] * r[i];
        do {
            if (!linearLeastSquares(J, r, delta, *lambda)) return 0;
            double trial[kGaussParams];
            for (int k = 0; k < kGaussParams; ++k) trial[k] = p[k] - delta[k];
            if (sumOfSquares(x, y, z, trial) < sse0) {
                if (*lambda > kLambdaFloor) *lambda *= 0.5;
                break;
            }
            *lambda *= 2.0;
            // Without improvement up to the cap, the last delta is applied anyway.
        } while (*lambda < kLambdaMax);
    }

    double norm = 0.0;
    for (int k = 0; k < kGaussParams; ++k) {
        p[k] -= delta[k];
        norm += delta[k] * delta[k];
    }
    *stepNorm = std::sqrt(norm);
    return 1;
}

int gaussNewton(double* x, double* y, double* z, double* pIn, double* pOut) {
    for (int k = 0; k < kGaussParams; ++k) pOut[k] = pIn[k];
    return fitLoop(x, y, z, pOut, false);
}

int gaussian2DFit(double* x, double* y, double* z, double* p) {
    double work[kGaussParams];
    estimateParams(x, y, z, work);
    if (!fitLoop(x, y, z, work, true)) return 0;
    for (int k = 0; k < kGaussParams; ++k) p[k] = work[k];
    return 1;
}
