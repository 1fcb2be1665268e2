#pragma once

#include <string>

#include "fusion/ProjectFeature.h"
#include "fusion/SharedState.h"
#include "platform/Export.h"

namespace android {

// The one entry point of the sensor service for everything project-specific.
// This build serves one kind of device (under-display light sensor, no touch
// or ultrasonic proximity, no fold or second screen), so most feature queries
// answer with a constant; that is their required behaviour, not a placeholder.
class SC_EXPORT RootFusion {
public:
    // Not locked: the host makes its first call before any concurrent use.
    static RootFusion* getInstance();

    RootFusion();
    ~RootFusion();

    float calcLuxForProject(double* crgbw, float lux);
    void calcGoldenValueForProject(int*, int, int, int, int);
    void isSensorExist(int type);
    int getLightId(int);
    std::string modiyFileNamebyProject(std::string name);
    int getDisplayIdValue();
    bool isUnderLight();
    bool isTouchProx();
    bool isUltraProx();
    bool isDoubleScreen();
    bool isFoldScreen();
    bool isTwoLightFold();
    bool isProxBExist();
    int convertDcState(int, int state);
    int getEyeParam(int);
    void setEyeParam(double r, double g, double b);
    int getPixcelModel();
    void getPixcelIcScope(int width, int* scope);
    // Screen light in each channel (c, r, g, b, w) for a capture over the
    // sensor; `delta` is written only when the model predicts.
    void calcCNNLuxDelta(const android::Vector<int>& pixels, int br, int width, int height, float* delta);
    void setColorTemper(double, double, double);
    bool isQcomCwbProject();
    bool isFlipDualProx();
    bool isFlipDualLight();
    bool isEllipseUltra();
    bool isEllipseTouchProx();
    bool isChannelCaliLight();
    bool isSupportLightAllBrightLow();
    bool isFifthCali();
    void getChannelCaliLightParam(float*, int);
    void getLightAllBrightLowParams(int*);
    void getFifthCali();
    int getFifthDarkCali(int);
    float getCalcForCaliCCT(double* values);
    void setEngMode(bool);
    bool needCheckAPKCaliAR();
    bool isSixthLightOptimize();
    void updateSixthLightCali();

    static RootFusion* mRoot;

private:
    ProjectFeature* mFeature;  // the project singleton; not owned
    bool mProxBExist;
};

}  // namespace android
