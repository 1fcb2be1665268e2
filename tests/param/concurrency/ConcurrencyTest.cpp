// Lookups racing a full parse see no mode or every mode, never half a store.
#include <atomic>
#include <thread>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

class ParseWhileLooking : public StoreTest {
protected:
    void SetUp() override {
        StoreTest::SetUp();
        writeLocation(R"({"supportAcl3": 1})");
        for (const std::string& m : walkNames(true, true, 0, 0)) writeMode(m);
        logs.reset();  // the capture's own lock would order the threads
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    }
};

TEST_F(ParseWhileLooking, LookupsSeeNoModeOrAllModes) {
    for (int round = 0; round < 10; ++round) {
        rebuildStore();
        Store& s = store();
        std::atomic<bool> go{false};
        std::thread reader([&]() {
            while (!go.load()) std::this_thread::yield();
            for (int i = 0; i < 4000; ++i) {
                const Info* info = s.getCurrentUnderDisplayLightParamMode(3, i % 6, 0, 0, i % 2);
                if (info == nullptr) continue;
                // Found only after the parse released the lock: everything is in place.
                EXPECT_TRUE(s.mAllModeParsed);
                EXPECT_EQ(s.mParamModes.size(), 36u);
                EXPECT_EQ(info->ir[55][6], coefficient(3, 55, 6));
            }
        });
        go = true;
        EXPECT_EQ(s.underDisplayParamParaseAllMode(), 0);
        reader.join();
    }
}

TEST_F(ParseWhileLooking, SecondParseKeepsRecordsStableForLookups) {
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
