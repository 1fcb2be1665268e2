#include <gtest/gtest.h>

#include <memory>

#include "fusion/CaliCct.h"
#include "fusion/RootFusion.h"
#include "tests/support/LogCapture.h"

using android::ProjectFeature;
using android::RootFusion;

namespace {

TEST(RootFusionSingleton, BuildsProjectFeaturesOnceOnFirstUse) {
    sctest::LogCapture logs;
    const std::string built = "UL: ProjectFeature->default. autoTest = 0 isOverSeas = 0";
    ASSERT_EQ(RootFusion::mRoot, nullptr);
    ASSERT_EQ(ProjectFeature::mProject, nullptr);
    RootFusion* root = RootFusion::getInstance();
    ASSERT_NE(root, nullptr);
    EXPECT_NE(ProjectFeature::mProject, nullptr);
    EXPECT_TRUE(logs.contains(built));

    logs.clear();
    EXPECT_EQ(RootFusion::getInstance(), root);
    EXPECT_EQ(ProjectFeature::getInstance(), ProjectFeature::mProject);
    EXPECT_FALSE(logs.contains(built));
}

// The answers that steer the host service onto this device's paths.
TEST(RootFusionFacade, DeviceAnswersAndProximityLatch) {
    RootFusion fusion;
    EXPECT_TRUE(fusion.isUnderLight());
    EXPECT_TRUE(fusion.isSixthLightOptimize());
    EXPECT_FALSE(fusion.isChannelCaliLight());
    EXPECT_EQ(fusion.getPixcelModel(), 1);
    EXPECT_EQ(fusion.convertDcState(5, 7), 7);

    // The second proximity sensor only ever turns on.
    EXPECT_FALSE(fusion.isProxBExist());
    fusion.isSensorExist(66549);
    EXPECT_FALSE(fusion.isProxBExist());
    fusion.isSensorExist(0x103F6);
    fusion.isSensorExist(1);
    EXPECT_TRUE(fusion.isProxBExist());
}

TEST(RootFusionFacade, CalibratedCctIsElementSeven) {
    double values[9] = {0, 1, 2, 3, 4, 5, 6, 6500.123456789, 8};
    EXPECT_EQ(RootFusion().getCalcForCaliCCT(values), 6500.123456789f);
    float cct = 0;
    android::CaliCct::getCaliCct(values, cct);
    EXPECT_EQ(cct, 6500.123456789f);
}

TEST(RootFusionFacade, ForwardsToTheProjectFeatures) {
    RootFusion* root = RootFusion::getInstance();
    ProjectFeature* feature = ProjectFeature::getInstance();
    root->setEyeParam(0.25, 0.5, 2.0);
    EXPECT_EQ(std::vector<double>(feature->eyeParam, feature->eyeParam + 3), (std::vector<double>{0.25, 0.5, 2.0}));
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
