#include "fusion/RootFusion.h"

namespace android {

namespace {
// Sensor type the host reports for the second proximity sensor.
constexpr int kProxBSensorType = 0x103F6;
}  // namespace

RootFusion* RootFusion::mRoot = nullptr;

RootFusion* RootFusion::getInstance() {
    if (mRoot == nullptr) mRoot = new RootFusion();
    return mRoot;
}

RootFusion::RootFusion() : mFeature(ProjectFeature::getInstance()), mProxBExist(false) {}

RootFusion::~RootFusion() {}

float RootFusion::calcLuxForProject(double* crgbw, float lux) {
    return mFeature->calcLuxForProject(crgbw, lux);
}

void RootFusion::calcGoldenValueForProject(int*, int, int, int, int) {}

void RootFusion::isSensorExist(int type) {
    if (type == kProxBSensorType) mProxBExist = true;
}

int RootFusion::getLightId(int) { return 0; }

std::string RootFusion::modiyFileNamebyProject(std::string name) { return name; }

int RootFusion::getDisplayIdValue() { return ProjectFeature::getInstance()->getDisplayId(); }

bool RootFusion::isUnderLight() { return true; }
bool RootFusion::isTouchProx() { return false; }
bool RootFusion::isUltraProx() { return false; }
bool RootFusion::isDoubleScreen() { return false; }
bool RootFusion::isFoldScreen() { return false; }
bool RootFusion::isTwoLightFold() { return false; }
bool RootFusion::isProxBExist() { return mProxBExist; }

int RootFusion::convertDcState(int, int state) { return state; }

int RootFusion::getEyeParam(int) { return 100; }

void RootFusion::setEyeParam(double r, double g, double b) {
    ProjectFeature::getInstance()->setProjectEyeParam(r, g, b);
}

int RootFusion::getPixcelModel() {
    ProjectFeature::getInstance();
    return 1;
}

void RootFusion::getPixcelIcScope(int width, int* scope) {
    ProjectFeature::getInstance()->getPixcelScope(width, scope);
}

void RootFusion::calcCNNLuxDelta(const android::Vector<int>& pixels, int br, int width, int height,
                                 float* delta) {
    android::Vector<int> copy(pixels);
    ProjectFeature::getInstance()->calcProjectCNNLuxDelta(copy, br, width, height, delta);
}

void RootFusion::setColorTemper(double, double, double) {}
bool RootFusion::isQcomCwbProject() { return false; }
bool RootFusion::isFlipDualProx() { return false; }
bool RootFusion::isFlipDualLight() { return false; }
bool RootFusion::isEllipseUltra() { return false; }
bool RootFusion::isEllipseTouchProx() { return false; }
bool RootFusion::isChannelCaliLight() { return false; }
bool RootFusion::isSupportLightAllBrightLow() { return false; }
bool RootFusion::isFifthCali() { return false; }
void RootFusion::getChannelCaliLightParam(float*, int) {}
void RootFusion::getLightAllBrightLowParams(int*) {}
void RootFusion::getFifthCali() {}
int RootFusion::getFifthDarkCali(int) { return 0; }

float RootFusion::getCalcForCaliCCT(double* values) { return static_cast<float>(values[7]); }

void RootFusion::setEngMode(bool) {}
bool RootFusion::needCheckAPKCaliAR() { return false; }
bool RootFusion::isSixthLightOptimize() { return true; }

void RootFusion::updateSixthLightCali() { ProjectFeature::getInstance()->updateProjectSixthLightCali(); }

}  // namespace android
