#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "models/lux_cnn/GaussianFit.h"
#include "tests/support/LogCapture.h"

namespace {

struct NoisyCase {
    double x[16], y[16], z[16];
    double start[5];   // initial guess
    double fitted[5];  // the fit's result, step by step
    int steps;
    double optimum[5];  // least-squares optimum found by scipy
};
struct StepCase {
    double lambdaIn;
    double p[5];
    double stepNorm;
    double lambdaOut;
};
struct SlowCase {
    int steps;  // step on which the step norm first drops to 0.001
    double z[16];
    double last[5];
};
#include "tests/lux_cnn/GaussFitGolden.inc"

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const std::string kNotPd = "Algo_Lux_Cnn_Model: Error: Matrix not positive definite\n";
const std::string kFailed = "Algo_Lux_Cnn_Model: fit failed!\n";
const std::string kMaxIter = "Algo_Lux_Cnn_Model: Warning: max iter reached!\n";
const std::string kNoisyLine = "Algo_Lux_Cnn_Model: data very noisy or contrast too low (or both)\n";

void fill(double* v, int n, double value) {
    for (int i = 0; i < n; ++i) v[i] = value;
}

// Bit-for-bit equality (NaN never expected here).
void expectSame(const double* got, const double* want, int n, const char* what) {
    for (int i = 0; i < n; ++i) EXPECT_EQ(got[i], want[i]) << what << "[" << i << "]";
}

// ---- Noisy spots with unequal sigmas: the reference's path, step by step,
// to scipy's optimum.

class Noisy : public ::testing::TestWithParam<int> {};

TEST_P(Noisy, FollowsTheReferenceToTheOptimum) {
    NoisyCase c = kNoisy[GetParam()];
    double start[5];
    fill(start, 5, kNaN);
    EXPECT_EQ(estimateParams(c.x, c.y, c.z, start), 1);
    expectSame(start, c.start, 5, "start");

    double p[5];
    fill(p, 5, kNaN);
    ASSERT_EQ(gaussian2DFit(c.x, c.y, c.z, p), 1);
    expectSame(p, c.fitted, 5, "fitted");
    for (int k = 0; k < 5; ++k) EXPECT_NEAR(p[k], c.optimum[k], 2e-5 * std::fabs(c.optimum[k])) << k;

    double out[5];
    EXPECT_EQ(gaussNewton(c.x, c.y, c.z, c.start, out), 1);
    expectSame(out, c.fitted, 5, "gaussNewton");
}

INSTANTIATE_TEST_SUITE_P(Cases, Noisy, ::testing::Range(0, int(sizeof kNoisy / sizeof kNoisy[0])));

// ---- Building blocks, bit for bit against the reference.

TEST(GaussBlocks, JacobianNormalEquationsAndSubstitutions) {
    double x[16], y[16], p[5];
    std::memcpy(x, kStepX, sizeof x);
    std::memcpy(y, kStepY, sizeof y);
    std::memcpy(p, kStepP, sizeof p);
    double J[16][5], f[16];
    fill(&J[0][0], 80, kNaN);
    fill(f, 16, kNaN);
    computeJacobian(x, y, p, J, f, 0);
    expectSame(f, kStepF, 16, "f");
    for (int i = 0; i < 16; ++i)
        for (int k = 0; k < 5; ++k) EXPECT_TRUE(std::isnan(J[i][k])) << "J written without being asked";
    computeJacobian(x, y, p, J, f, 1);
    for (int i = 0; i < 16; ++i) expectSame(J[i], kStepJ[i], 5, "J");

    double r[16];
    for (int i = 0; i < 16; ++i) r[i] = kStepZ[i] - f[i];
    double delta[5];
    fill(delta, 5, kNaN);
    EXPECT_EQ(linearLeastSquares(J, r, delta, 0.25), 1);
    expectSame(delta, kStepDelta, 5, "delta");

    double A[5][5], L[5][5] = {};
    std::memcpy(A, kStepA, sizeof A);
    EXPECT_EQ(choleskyDecomposition(A, L), 1);
    for (int k = 0; k < 5; ++k) expectSame(L[k], kStepL[k], 5, "L");
    double b[5], fwd[5], back[5];
    std::memcpy(b, kStepB, sizeof b);
    performForwardSubstitution(L, b, fwd);
    expectSame(fwd, kStepForward, 5, "forward");
    performBackSubstitution(L, fwd, back);
    expectSame(back, kStepDelta, 5, "back");
}

TEST(GaussBlocks, CholeskyRejectsNegativePivotOnlyWithItsLine) {
    sctest::LogCapture log;
    double notPd[5][5] = {{4, 2, 0, 0, 0}, {2, 3, 0, 0, 0}, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}, {0, 0, 0, 0, -1e-9}};
    double L[5][5] = {};
    EXPECT_EQ(choleskyDecomposition(notPd, L), 0);
    EXPECT_EQ(log.texts(), std::vector<std::string>{kNotPd});

    // A zero pivot is let through (the caller range-checks what comes out).
    log.clear();
    double singular[5][5] = {{1, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}, {0, 0, 0, 0, 1}};
    double L2[5][5] = {};
    EXPECT_EQ(choleskyDecomposition(singular, L2), 1);
    EXPECT_EQ(L2[1][1], 0.0);
    EXPECT_TRUE(log.texts().empty());
}

// ---- One damped step: the damping rules.

class Step : public ::testing::TestWithParam<int> {};

TEST_P(Step, MatchesReferenceDamping) {
    const StepCase& c = kSteps[GetParam()];
    double x[16], y[16], z[16], p[5];
    std::memcpy(x, kStepX, sizeof x);
    std::memcpy(y, kStepY, sizeof y);
    // The last case starts at an optimum of other data, where no trial improves.
    const bool atOptimum = GetParam() + 1 == int(sizeof kSteps / sizeof kSteps[0]);
    std::memcpy(z, atOptimum ? kOptimumZ : kStepZ, sizeof z);
    std::memcpy(p, atOptimum ? kOptimumP : kStepP, sizeof p);
    double norm = kNaN, lambda = c.lambdaIn;
    ASSERT_EQ(iteration(x, y, z, p, &norm, &lambda), 1);
    expectSame(p, c.p, 5, "p");
    EXPECT_EQ(norm, c.stepNorm);
    EXPECT_EQ(lambda, c.lambdaOut);
}

INSTANTIATE_TEST_SUITE_P(Lambdas, Step, ::testing::Range(0, int(sizeof kSteps / sizeof kSteps[0])));

// ---- The fit loop: iteration limit and failures.

TEST(GaussFit, LimitIsOneHundredStepsEvenWhenTheLastConverges) {
    double x[16], y[16];
    std::memcpy(x, kSlowX, sizeof x);
    std::memcpy(y, kSlowY, sizeof y);
    for (const SlowCase& c : kSlow) {
        SCOPED_TRACE(c.steps);
        double z[16], p[5], out[5], start[5];
        std::memcpy(z, c.z, sizeof z);
        fill(p, 5, kNaN);
        sctest::LogCapture log;
        const int ok = gaussian2DFit(x, y, z, p);
        if (c.steps < 100) {
            EXPECT_EQ(ok, 1);
            expectSame(p, c.last, 5, "p");
            EXPECT_TRUE(log.texts().empty());
        } else {
            EXPECT_EQ(ok, 0);
            for (double v : p) EXPECT_TRUE(std::isnan(v)) << "output written on failure";
            EXPECT_EQ(log.texts(), (std::vector<std::string>{kMaxIter, kNoisyLine}));
        }
        log.clear();
        estimateParams(x, y, z, start);
        EXPECT_EQ(gaussNewton(x, y, z, start, out), c.steps < 100 ? 1 : 0);
        expectSame(out, c.last, 5, "gaussNewton keeps its last parameters");
        EXPECT_EQ(log.texts(), c.steps < 100 ? std::vector<std::string>{} : std::vector<std::string>{kMaxIter});
    }
}

TEST(GaussFit, FailedSolveEndsTheFitWithItsLines) {
    double x[16], y[16], z[16], p[5], start[5], out[5];
    std::memcpy(x, kLineX, sizeof x);
    std::memcpy(y, kLineY, sizeof y);
    std::memcpy(z, kLineZ, sizeof z);
    fill(p, 5, kNaN);
    sctest::LogCapture log;
    EXPECT_EQ(gaussian2DFit(x, y, z, p), 0);
    for (double v : p) EXPECT_TRUE(std::isnan(v));
    EXPECT_EQ(log.texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion"), (std::vector<std::string>{kNotPd, kFailed, kNoisyLine}));

    log.clear();
    estimateParams(x, y, z, start);
    EXPECT_EQ(gaussNewton(x, y, z, start, out), 0);
    expectSame(out, start, 5, "unchanged after a failed first step");
    EXPECT_EQ(log.texts(), (std::vector<std::string>{kNotPd, kFailed}));
}

// Zero amplitude and zero weight sum: either a reported failure or a
// non-finite centre that the caller rejects.
TEST(GaussFit, ConstantDataDoesNotYieldAUsableFit) {
    double x[16], y[16], z[16], p[5] = {};
    for (int i = 0; i < 16; ++i) x[i] = 815 + (i % 4) * 5, y[i] = 75 + (i / 4) * 5, z[i] = 0.7;
    const int ok = gaussian2DFit(x, y, z, p);
    EXPECT_TRUE(ok == 0 || !std::isfinite(p[0]) || !std::isfinite(p[1]));
}

}  // namespace
