// Lookups racing a full parse: a lookup either waits for the whole parse or
// runs before it, never in the middle of it.
#include <atomic>
#include <thread>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

class ParseWhileLooking : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        writeLocation(parse(R"({"supportAcl3": 1})"));
        for (int acl : {0, 1, 3})
            for (int mode = 0; mode < 6; ++mode)
                for (int dc : {0, 1}) {
                    std::string name = "param" + std::to_string(acl) + std::to_string(mode) + "00" + std::to_string(dc);
                    writeMode(name);
                }
        logs.reset();  // the capture's own lock would order the threads
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    }
};

TEST_F(ParseWhileLooking, LookupsSeeNoModeOrAllModes) {
    for (int round = 0; round < 10; ++round) {
        rebuildStore();
        Store& s = store();
        std::atomic<bool> go{false};
        std::atomic<int> found{0}, missed{0};
        std::thread reader([&]() {
            while (!go.load()) std::this_thread::yield();
            for (int i = 0; i < 4000; ++i) {
                const Info* info = s.getCurrentUnderDisplayLightParamMode(3, i % 6, 0, 0, i % 2);
                if (info == nullptr) {
                    ++missed;
                    continue;
                }
                // Found after the parse released the lock: everything is in place.
                ++found;
                EXPECT_TRUE(s.mAllModeParsed);
                EXPECT_EQ(s.mParamModes.size(), 36u);
                EXPECT_EQ(info->goldenValue[6], 106);
                EXPECT_EQ(info->ir[55][6], coefficient(3, 55, 6));
            }
        });
        go = true;
        EXPECT_EQ(s.underDisplayParamParaseAllMode(), 0);
        reader.join();
        EXPECT_EQ(found + missed, 4000);
        EXPECT_EQ(s.mParamModes.size(), 36u);
    }
}

// Two full parses and lookups at once: the second parse only skips, lookups
// keep finding the records that the first one stored.
TEST_F(ParseWhileLooking, RepeatedParsesKeepRecordsStable) {
    Store& s = store();
    s.underDisplayParamParaseAllMode();
    const Info* first = s.getCurrentUnderDisplayLightParamMode(0, 2, 0, 0, 1);
    ASSERT_NE(first, nullptr);
    std::thread parser([&]() { s.underDisplayParamParaseAllMode(); });
    for (int i = 0; i < 2000; ++i) EXPECT_EQ(s.getCurrentUnderDisplayLightParamMode(0, 2, 0, 0, 1), first);
    parser.join();
}

}  // namespace
}  // namespace paramtest
