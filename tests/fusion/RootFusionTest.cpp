#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "fusion/CaliCct.h"
#include "fusion/RootFusion.h"
#include "tests/support/LogCapture.h"

using android::ProjectFeature;
using android::RootFusion;

namespace {

TEST(RootFusionSingleton, BuildsProjectFeaturesOnceOnFirstUse) {
    sctest::LogCapture logs;
    ASSERT_EQ(RootFusion::mRoot, nullptr);
    ASSERT_EQ(ProjectFeature::mProject, nullptr);
    RootFusion* root = RootFusion::getInstance();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(RootFusion::mRoot, root);
    EXPECT_NE(ProjectFeature::mProject, nullptr);
    EXPECT_TRUE(logs.contains("UL: ProjectFeature->default. autoTest = 0 isOverSeas = 0"));

    logs.clear();
    EXPECT_EQ(RootFusion::getInstance(), root);
    EXPECT_EQ(ProjectFeature::getInstance(), ProjectFeature::mProject);
    EXPECT_FALSE(logs.contains("UL: ProjectFeature->default. autoTest = 0 isOverSeas = 0"));
}

TEST(RootFusionFacade, ConstantAnswersOfThisDeviceBuild) {
    RootFusion fusion;
    EXPECT_TRUE(fusion.isUnderLight());
    EXPECT_TRUE(fusion.isSixthLightOptimize());
    for (bool answer : {fusion.isTouchProx(), fusion.isUltraProx(), fusion.isDoubleScreen(),
                        fusion.isFoldScreen(), fusion.isTwoLightFold(), fusion.isQcomCwbProject(),
                        fusion.isFlipDualProx(), fusion.isFlipDualLight(), fusion.isEllipseUltra(),
                        fusion.isEllipseTouchProx(), fusion.isChannelCaliLight(),
                        fusion.isSupportLightAllBrightLow(), fusion.isFifthCali(), fusion.needCheckAPKCaliAR()}) {
        EXPECT_FALSE(answer);
    }
    EXPECT_EQ(fusion.getLightId(3), 0);
    EXPECT_EQ(fusion.getEyeParam(7), 100);
    EXPECT_EQ(fusion.getPixcelModel(), 1);
    EXPECT_EQ(fusion.getFifthDarkCali(9), 0);
    EXPECT_EQ(fusion.convertDcState(5, 7), 7);
    EXPECT_EQ(fusion.modiyFileNamebyProject("underlight_param1.json"), "underlight_param1.json");
}

TEST(RootFusionFacade, SecondProximitySensorOnlyEverTurnsOn) {
    RootFusion fusion;
    EXPECT_FALSE(fusion.isProxBExist());
    fusion.isSensorExist(66549);
    EXPECT_FALSE(fusion.isProxBExist());
    fusion.isSensorExist(0x103F6);
    EXPECT_TRUE(fusion.isProxBExist());
    fusion.isSensorExist(1);
    EXPECT_TRUE(fusion.isProxBExist());
}

TEST(RootFusionFacade, BuffersOfNoOpEntriesAreLeftUntouched) {
    RootFusion fusion;
    float params[4] = {1.5f, -2.0f, NAN, 4.0f};
    fusion.getChannelCaliLightParam(params, 4);
    EXPECT_EQ(params[0], 1.5f);
    EXPECT_EQ(params[1], -2.0f);
    EXPECT_TRUE(std::isnan(params[2]));
    EXPECT_EQ(params[3], 4.0f);
    int low[3] = {7, 8, 9};
    fusion.getLightAllBrightLowParams(low);
    EXPECT_EQ(low[0] + low[1] + low[2], 24);
    int golden[2] = {5, 6};
    fusion.calcGoldenValueForProject(golden, 1, 2, 3, 4);
    EXPECT_EQ(golden[0], 5);
    EXPECT_EQ(golden[1], 6);
}

TEST(RootFusionFacade, CalibratedCctIsElementSeven) {
    RootFusion fusion;
    double values[9] = {0, 1, 2, 3, 4, 5, 6, 6500.123456789, 8};
    EXPECT_EQ(fusion.getCalcForCaliCCT(values), 6500.123456789f);
    float cct = 0;
    android::CaliCct::getCaliCct(values, cct);
    EXPECT_EQ(cct, 6500.123456789f);
}

TEST(RootFusionFacade, ForwardsToTheProjectFeatures) {
    RootFusion* root = RootFusion::getInstance();
    ProjectFeature* feature = ProjectFeature::getInstance();
    root->setEyeParam(0.25, 0.5, 2.0);
    EXPECT_EQ(feature->eyeParam[0], 0.25);
    EXPECT_EQ(feature->eyeParam[1], 0.5);
    EXPECT_EQ(feature->eyeParam[2], 2.0);
    int scope[4] = {};
    root->getPixcelIcScope(feature->isOverSeas ? 420 : 480, scope);
    EXPECT_EQ(scope[0], 686);
    EXPECT_EQ(root->getDisplayIdValue(), feature->displayId);
    const int savedPanel = feature->displayId;
    feature->displayId = 4;
    EXPECT_EQ(root->calcLuxForProject(nullptr, 1500.0f / feature->luxScale),
              feature->calcLuxForProject(nullptr, 1500.0f / feature->luxScale));
    feature->displayId = savedPanel;
}

}  // namespace
