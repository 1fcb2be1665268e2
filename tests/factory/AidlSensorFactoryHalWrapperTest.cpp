#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "factory/AidlSensorFactoryHalWrapper.h"
#include "tests/factory/FactoryTestSupport.h"

using factorytest::calibrationArgs;
using factorytest::clientLines;
using factorytest::kV2Start590;
using factorytest::rampCalibration;
using hostbinder::FakeSensorFactory;
using hostbinder::ScopedFakeSensorFactory;
using Lines = std::vector<std::string>;

namespace {

// Without a service both calls fail and hand back exactly the initialised
// records: every byte zero but the first value, -1.0.
TEST(FactoryClientNoService, BothTestsReturnMinusOneWithInitialisedRecords) {
    sctest::LogCapture log;
    AidlSensorFactoryHalWrapper client;
    __test_result v1, want1;
    __test_result_v2 v2, want2;
    std::memset(&v1, 0x5a, sizeof(v1));
    std::memset(&v2, 0x5a, sizeof(v2));
    std::memset(&want1, 0, sizeof(want1));
    std::memset(&want2, 0, sizeof(want2));
    want1.test_val[0] = want2.val[0] = -1.0f;

    EXPECT_EQ(client.zarnSensorTest(&v1, 0x24e, 1, -2, 3), -1);
    std::vector<int> args = calibrationArgs();
    EXPECT_EQ(client.zarnSensorTestV2(&v2, 590, args.data()), -1);
    EXPECT_EQ(std::memcmp(&v1, &want1, sizeof(v1)), 0);
    EXPECT_EQ(std::memcmp(&v2, &want2, sizeof(v2)), 0);
    client.zarnSensorInitResult(nullptr);
    client.zarnSensorInitResultV2(nullptr);

    EXPECT_EQ(clientLines(log), (Lines{
                                        "UL: zarnsensortest V1 start ID 0x24e 1 -2 3",
                                        "UL: zarnsensortest getService failed!!!",
                                        "UL: zarnsensortest V1 error !! SERVICE IS NULL",
                                        "UL: zarnsensortest V1 end ID 0x24e ret -1",
                                        kV2Start590,
                                        "UL: zarnsensortest getService failed!!!",
                                        "UL: zarnsensortest V2 error !! SERVICE IS NULL",
                                        "UL: zarnsensortest V2 end ID 0x24e ret -1",
                                }));
}

// Verdict rule: any negative verdict fails the call, zero and positive pass.
struct VerdictCase {
    int32_t verdict;
    int expected;
};

class FactoryClientVerdict : public ::testing::TestWithParam<VerdictCase> {};

TEST_P(FactoryClientVerdict, DecidesTheReturnValueOfBothCalls) {
    ScopedFakeSensorFactory fake(rampCalibration());
    fake->setVerdict(GetParam().verdict);
    AidlSensorFactoryHalWrapper client;
    sctest::LogCapture log;

    __test_result_v2 v2;
    std::vector<int> args = calibrationArgs();
    EXPECT_EQ(client.zarnSensorTestV2(&v2, 590, args.data()), GetParam().expected);
    EXPECT_EQ(v2.success, GetParam().verdict);
    for (int i = 0; i < 30; ++i) EXPECT_EQ(v2.val[i], rampCalibration()[i]) << i;
    EXPECT_EQ(v2.val[30], 0.0f);

    __test_result v1;
    EXPECT_EQ(client.zarnSensorTest(&v1, 0x10, 7, 8, 9), GetParam().expected);
    EXPECT_EQ(v1.success, GetParam().verdict);

    const std::string ret = std::to_string(GetParam().expected);
    EXPECT_EQ(clientLines(log),
              (Lines{kV2Start590, "UL: zarnsensortest getService success!!!",
                     "UL: zarnsensortest V2 end ID 0x24e ret " + ret, "UL: zarnsensortest V1 start ID 0x10 7 8 9",
                     "UL: zarnsensortest V1 _aidl_return, val success = " + std::to_string(GetParam().verdict) +
                             ", val len test/def/min/max/info:3/3/3/3/64",
                     "UL: zarnsensortest V1 end ID 0x10 ret " + ret}));
}

INSTANTIATE_TEST_SUITE_P(Verdicts, FactoryClientVerdict,
                         ::testing::Values(VerdictCase{0, 0}, VerdictCase{1, 0}, VerdictCase{12345, 0},
                                           VerdictCase{-1, -1}, VerdictCase{-5, -1},
                                           VerdictCase{INT32_MIN, -1}));

TEST(FactoryClientAnswer, SendsAllArgumentsAndCopiesEveryField) {
    ScopedFakeSensorFactory fake;
    AidlSensorFactoryHalWrapper client;

    std::vector<int> args(32);
    for (int i = 0; i < 32; ++i) args[i] = 100 - i;
    __test_result_v2 v2;
    std::memset(&v2, 0x5a, sizeof(v2));
    ASSERT_EQ(client.zarnSensorTestV2(&v2, 590, args.data()), 0);
    EXPECT_EQ(fake->lastId(), 590);
    const std::array<int32_t, 32> sent = fake->lastArgs();
    EXPECT_EQ(std::vector<int>(sent.begin(), sent.end()), args);
    for (int i = 0; i < 30; ++i) EXPECT_EQ(v2.val[i], FakeSensorFactory::unitCalibration()[i]) << i;
    // The version-2 call leaves the text field as initialised.
    for (char c : v2.info) EXPECT_EQ(c, 0);

    // Every field of the version-1 answer, as the show line prints it.
    fake->setVerdict(3);
    __test_result v1;
    std::memset(&v1, 0x5a, sizeof(v1));
    ASSERT_EQ(client.zarnSensorTest(&v1, 0x2a, 4, 5, 6), 0);
    EXPECT_EQ(fake->lastId(), 0x2a);
    sctest::LogCapture log;
    client.showSensorTestResult(&v1);
    // The service's text need not end within the record.
    std::memset(v1.info, 'x', sizeof(v1.info));
    client.showSensorTestResult(&v1);
    const std::string fields =
            "UL: zarnsensortest showSensorTestResult V1:\tsusccess=3\ttest_val=[4.000000,5.000000,6.000000]"
            "\tdef_base=[100.000000,100.000000,100.000000]\tmin_base=[50.000000,50.000000,50.000000]"
            "\tmax_base=[150.000000,150.000000,150.000000]";
    EXPECT_EQ(clientLines(log), (Lines{fields + "\tinfo: \"fake test 0x2a\"",
                                       fields + "\tinfo: \"" + std::string(64, 'x') + "\""}));
}

TEST(FactoryClientShow, VersionTwoTextHasThirtyTwoValuesUnderFourLabels) {
    sctest::LogCapture log;
    AidlSensorFactoryHalWrapper client;
    __test_result_v2 r;
    client.zarnSensorInitResultV2(&r);
    for (int i = 1; i < 32; ++i) r.val[i] = static_cast<float>(i);
    r.val[9] = 2467.453f;
    r.val[10] = -0.25f;
    r.val[31] = 1.5e7f;
    client.showSensorTestResultV2(&r);
    EXPECT_EQ(clientLines(log),
              Lines{"UL: zarnsensortest showSensorTestResult V2: len: 32; 1-10:-1.000000 1.000000 2.000000 3.000000 "
                    "4.000000 5.000000 6.000000 7.000000 8.000000 2467.452881 11-20:-0.250000 11.000000 12.000000 "
                    "13.000000 14.000000 15.000000 16.000000 17.000000 18.000000 19.000000 21-30:20.000000 21.000000 "
                    "22.000000 23.000000 24.000000 25.000000 26.000000 27.000000 28.000000 29.000000 "
                    "31-32:30.000000 15000000.000000 "});
}

// Error statuses of every kind: the call is logged as failed and its result is
// whatever the previous answer left behind.
enum class Failure { ServiceSpecific, Exception, Transport };

class FactoryClientErrorStatus : public ::testing::TestWithParam<Failure> {
protected:
    static void fail(FakeSensorFactory& fake) {
        switch (GetParam()) {
        case Failure::ServiceSpecific: fake.failWithServiceSpecific(-7); break;
        case Failure::Exception: fake.failWithException(EX_ILLEGAL_STATE); break;
        case Failure::Transport: fake.failWithStatus(STATUS_FAILED_TRANSACTION); break;
        }
    }
};

TEST_P(FactoryClientErrorStatus, ReportsTheEmptyReplyRecordThenThePreviousAnswer) {
    ScopedFakeSensorFactory fake(rampCalibration());
    fail(fake.service());
    AidlSensorFactoryHalWrapper client;
    __test_result_v2 v2;
    __test_result v1;
    std::vector<int> args = calibrationArgs();
    sctest::LogCapture log;
    // Nothing answered yet: verdict 0 and zeros replace even the initial -1.0.
    EXPECT_EQ(client.zarnSensorTestV2(&v2, 590, args.data()), 0);
    EXPECT_EQ(v2.val[0], 0.0f);
    EXPECT_EQ(clientLines(log), (Lines{kV2Start590, "UL: zarnsensortest getService success!!!",
                                       "UL: zarnsensortest V2 error !!  reutrn is not ok"}));

    fake->answerNormally();
    fake->setVerdict(-9);
    ASSERT_EQ(client.zarnSensorTestV2(&v2, 590, args.data()), -1);
    ASSERT_EQ(client.zarnSensorTest(&v1, 1, 11, 12, 13), -1);
    fake->setVerdict(0);
    fake->setCalibration(FakeSensorFactory::unitCalibration());
    fail(fake.service());
    log.clear();
    EXPECT_EQ(client.zarnSensorTestV2(&v2, 590, args.data()), -1);
    EXPECT_EQ(v2.success, -9);
    EXPECT_EQ(v2.val[29], rampCalibration()[29]);
    EXPECT_EQ(client.zarnSensorTest(&v1, 1, 1, 1, 1), -1);
    EXPECT_EQ(v1.test_val[0], 11.0f);
    EXPECT_EQ(clientLines(log),
              (Lines{kV2Start590, "UL: zarnsensortest V2 error !!  reutrn is not ok",
                     "UL: zarnsensortest V1 start ID 0x1 1 1 1",
                     "UL: zarnsensortest V1 _aidl_return, val success = -9, val len test/def/min/max/info:3/3/3/3/64",
                     "UL: zarnsensortest V1 error !!  reutrn is not ok"}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, FactoryClientErrorStatus,
                         ::testing::Values(Failure::ServiceSpecific, Failure::Exception, Failure::Transport));

TEST(FactoryClientDeath, ReconnectsOnTheCallAfterTheServiceDied) {
    std::vector<int> args = calibrationArgs();
    __test_result_v2 r;
    AidlSensorFactoryHalWrapper client;
    auto first = std::make_unique<ScopedFakeSensorFactory>();
    ASSERT_EQ(client.zarnSensorTestV2(&r, 590, args.data()), 0);

    sctest::LogCapture log;
    (*first)->die();
    hostbinder::waitForDeathNotifications();
    EXPECT_EQ(clientLines(log), Lines{"UL: ISensorFactory service died."});

    // Dead and gone from the service manager: the next call finds nothing.
    log.clear();
    EXPECT_EQ(client.zarnSensorTestV2(&r, 590, args.data()), -1);
    EXPECT_EQ(clientLines(log).at(1), "UL: zarnsensortest getService failed!!!");

    // A restarted service is picked up by the following call.
    first.reset();
    ScopedFakeSensorFactory second(rampCalibration());
    log.clear();
    EXPECT_EQ(client.zarnSensorTestV2(&r, 590, args.data()), 0);
    EXPECT_EQ(r.val[0], rampCalibration()[0]);
    EXPECT_EQ(clientLines(log), (Lines{kV2Start590, "UL: zarnsensortest getService success!!!",
                                       "UL: zarnsensortest V2 end ID 0x24e ret 0"}));
}

TEST(FactoryClientDeath, DestroyedClientHearsNothing) {
    ScopedFakeSensorFactory fake;
    {
        AidlSensorFactoryHalWrapper client;
        ASSERT_TRUE(client.getService());
    }
    sctest::LogCapture log;
    fake->die();
    hostbinder::waitForDeathNotifications();
    EXPECT_TRUE(clientLines(log).empty());
}

TEST(FactoryClientService, ResetDropsTheConnectionUntilTheNextCall) {
    ScopedFakeSensorFactory fake;
    AidlSensorFactoryHalWrapper client;
    sctest::LogCapture log;
    EXPECT_TRUE(client.getService());
    EXPECT_TRUE(client.getService());  // already held: no second lookup
    client.resetService();
    EXPECT_TRUE(client.getService());
    EXPECT_EQ(clientLines(log), (Lines{"UL: zarnsensortest getService success!!!",
                                       "UL: zarnsensortest getService success!!!"}));
}

TEST(FactoryClientService, NothingLeaksAcrossConnectionsAndDeaths) {
    const size_t before = hostbinder::liveBinderCount();
    std::vector<std::weak_ptr<FakeSensorFactory>> services;
    {
        AidlSensorFactoryHalWrapper client;
        std::vector<int> args = calibrationArgs();
        __test_result_v2 r;
        for (int round = 0; round < 4; ++round) {
            ScopedFakeSensorFactory fake;
            services.push_back(fake.service().ref<FakeSensorFactory>());
            EXPECT_EQ(client.zarnSensorTestV2(&r, 590, args.data()), 0);
            // Odd rounds leave the client holding a live service it must release.
            if (round % 2 == 0) {
                fake->die();
                hostbinder::waitForDeathNotifications();
            } else {
                client.resetService();
            }
        }
    }
    hostbinder::waitForDeathNotifications();
    EXPECT_EQ(hostbinder::liveBinderCount(), before);
    for (const auto& service : services) EXPECT_TRUE(service.expired());
}

}  // namespace
