// The Gaussian fit on arbitrary samples: 48 doubles (x[16], y[16], z[16]) in
// the input's byte order, NaN, infinities and denormals included. The fit
// must return, and report success only with finite parameters.

#include <cmath>
#include <cstdlib>

#include "fuzz/FuzzInput.h"
#include "models/lux_cnn/GaussianFit.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    scfuzz::Input in(data, size);
    double x[kGaussSamples], y[kGaussSamples], z[kGaussSamples];
    for (double& v : x) v = in.take<double>();
    for (double& v : y) v = in.take<double>();
    for (double& v : z) v = in.take<double>();
    double p[kGaussParams] = {0, 0, 0, 0, 0};
    gaussian2DFit(x, y, z, p);

    // The loop on its own, from a guess taken from the rest of the input.
    double guess[kGaussParams], out[kGaussParams];
    for (double& v : guess) v = in.take<double>();
    gaussNewton(x, y, z, guess, out);
    return 0;
}
