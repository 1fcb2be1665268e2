#pragma once

#include <utils/Vector.h>

#include "models/light_regression/LightRegression.h"
#include "platform/Export.h"

namespace android {

// Everything particular to the device project: lux scale and test flags from
// system properties, the panel identity from the display driver, the per-unit
// channel calibration factors and the pixel-sample geometry of the screen-light
// model. A process-wide singleton, built on first use and never destroyed.
class SC_EXPORT ProjectFeature {
public:
    static ProjectFeature* getInstance();

    // Reads the properties, the panel identity and the calibration factors.
    // Public so that tests and tools can build a fresh instance; the service
    // uses getInstance().
    ProjectFeature();

    // Panel identity 1..5, or -1 while the identity file is unreadable or
    // unrecognised (every call then tries the file again).
    int getDisplayId();
    // (Re)reads the five channel calibration factors.
    void getChannelCaliParam();

    float calcLuxForProject(double* crgbw, float lux);
    float calByCoefficient7301(float lux);
    void setProjectEyeParam(double r, double g, double b);
    int getProjectPixcelModel();
    void getPixcelScope(int width, int* scope);

    // Screen light in each channel for the capture over the sensor (`width` x
    // `height` pixels, three ints each, row-major): samples it into the model's
    // grid weighted by the eye parameters and predicts with the host's channel
    // readings. Writes delta[0..4] and returns true only when a prediction was
    // made (panel 1 and a capture of the stated size).
    bool calcProjectCNNLuxDelta(android::Vector<int> pixels, int br, int width, int height, float* delta);

    // Reads the unit's factory calibration through the factory-test service
    // and installs it into the screen-light model (panel 1 only).
    void updateProjectSixthLightCali();

    static ProjectFeature* mProject;

    // Fields in their declaration order; read by the lux formula and the
    // screen-light model.
    float luxScale;
    int autoTest;
    bool isOverSeas;
    // The screen-light model; its buffers start zeroed and its weights select a
    // defined set (see LightRegression()).
    LightRegression mModel;
    int sampleCols;
    int sampleRows;
    float* lastDelta;
    int displayId;
    float caliFactor[5];  // c, r, g, b, w
    int caliFactorCount;
    double eyeParam[3];   // weights of the red, green and blue pixel components
};

}  // namespace android
