// The sample configuration tree that ships in examples/ must load whole.
#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

class SampleTree : public StoreTest {
protected:
    sctest::ScopedConfigRoot sample{sctest::sourceDir() + "/examples/SensorConfig"};
};

TEST_F(SampleTree, LoadsAllTwentyFourModesAndTheNetworkUpdate) {
    EXPECT_EQ(store().mLocalNetworkVersion, "2026.11.1");
    EXPECT_EQ(store().underDisplayParamParaseAllMode(), 0);
    EXPECT_EQ(loadedModes(), []() {
        auto n = defaultModeNames();
        std::sort(n.begin(), n.end());
        return n;
    }());
    EXPECT_TRUE(logs->contains("/data/SensorConfig/underlight_param00000.json is valid."));
    EXPECT_TRUE(useChannelsWeightDelta);
    ASSERT_EQ(store().mDeltaWeights.count("param00000"), 1u);
    EXPECT_EQ(store().mDeltaWeights.at("param00000").size(), 10u);
    EXPECT_TRUE(badValueLines().empty());
    // Sections ascend and golden values are positive in every mode.
    for (const auto& e : store().mParamModes) {
        for (int s = 0; s < 7; ++s) EXPECT_GT(e.second->goldenValue[s], 0) << e.first;
        for (int s = 1; s < 6; ++s) EXPECT_GT(e.second->paramSection[s], e.second->paramSection[s - 1]) << e.first;
    }
    Store::UnderLightRect rect{};
    store().getCurrentUnderDisplayLightRect(&rect);
    EXPECT_EQ(rect.coords[2], 43);
    EXPECT_EQ(rect.coords[3], 112);
}

// A 43 x 112 mid-grey capture at mid brightness gives a positive, finite,
// modest screen contribution on every output.
TEST_F(SampleTree, WeightedFormGivesPlausibleDeltas) {
    store().underDisplayParamParaseAllMode();
    icScopeWidth = 43;
    icScopeHeight = 112;
    brightness = 2000;
    android::Vector<int> pixels;
    for (int i = 0; i < 43 * 112 * 3; ++i) pixels.push_back(128);
    Store::ChannelsDelta d{-1, -1, -1, -1};
    store().calcRecitifyParamDeltaByBrRGBWeight(pixels, 0, 0, &d);
    for (double v : {d.deltaR, d.deltaG, d.deltaB, d.deltaC}) {
        EXPECT_GT(v, 0.0);
        EXPECT_LT(v, 10.0);
    }
}

}  // namespace
}  // namespace paramtest
