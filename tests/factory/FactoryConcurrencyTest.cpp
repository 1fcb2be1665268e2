#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "factory/AidlSensorFactoryHalWrapper.h"
#include "tests/factory/FactoryTestSupport.h"

using factorytest::calibrationArgs;
using factorytest::clientLines;
using hostbinder::FakeSensorFactory;
using hostbinder::ScopedFakeSensorFactory;
using namespace std::chrono_literals;

namespace {

bool waitFor(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

long countOf(const std::vector<std::string>& lines, const std::string& text) {
    return std::count(lines.begin(), lines.end(), text);
}

size_t indexOf(const std::vector<std::string>& lines, const std::string& text, size_t from = 0) {
    return std::find(lines.begin() + from, lines.end(), text) - lines.begin();
}

TEST(FactoryClientConcurrency, TestsFromTwoThreadsRunOneAtATime) {
    ScopedFakeSensorFactory fake;
    fake->blockCalls();
    sctest::LogCapture log;
    int results[2] = {99, 99};
    auto run = [&results](int slot) {
        AidlSensorFactoryHalWrapper client;
        __test_result_v2 r;
        std::vector<int> args = calibrationArgs();
        results[slot] = client.zarnSensorTestV2(&r, 590, args.data());
    };

    std::thread first(run, 0);
    ASSERT_TRUE(fake->waitUntilBlocked(2s));
    std::thread second(run, 1);
    ASSERT_TRUE(waitFor([&] { return countOf(clientLines(log), factorytest::kV2Start590) == 2; }));
    std::this_thread::sleep_for(20ms);
    // The second caller waits on the lock, not in the service.
    EXPECT_EQ(fake->callCount(), 1);
    EXPECT_FALSE(AidlSensorFactoryHalWrapper::service_mutex.try_lock());

    fake->unblock();
    first.join();
    second.join();
    EXPECT_EQ(fake->callCount(), 2);
    EXPECT_EQ(results[0], 0);
    EXPECT_EQ(results[1], 0);
    // Each connection and answer pairs up; the second only connects after the first ends.
    std::vector<std::string> lines = clientLines(log);
    const std::string connected = "UL: zarnsensortest getService success!!!";
    const std::string ended = "UL: zarnsensortest V2 end ID 0x24e ret 0";
    size_t firstEnd = indexOf(lines, ended);
    ASSERT_LT(firstEnd, lines.size());
    EXPECT_EQ(indexOf(lines, connected), 1u);
    EXPECT_LT(firstEnd, indexOf(lines, connected, 2));
    EXPECT_EQ(countOf(lines, ended), 2);
}

TEST(FactoryClientConcurrency, ServiceDyingDuringABlockedCallFailsItAndDisconnects) {
    ScopedFakeSensorFactory fake(factorytest::rampCalibration());
    AidlSensorFactoryHalWrapper client;
    ASSERT_TRUE(client.getService());
    fake->blockCalls();
    sctest::LogCapture log;
    int ret = 99;
    __test_result_v2 r;
    std::thread caller([&] {
        std::vector<int> args = calibrationArgs();
        ret = client.zarnSensorTestV2(&r, 590, args.data());
    });
    ASSERT_TRUE(fake->waitUntilBlocked(2s));
    fake->die();
    caller.join();
    hostbinder::waitForDeathNotifications();

    EXPECT_EQ(ret, 0);           // the verdict field as it stood: nothing answered yet
    EXPECT_EQ(r.val[0], 0.0f);  // no reply, so not the service's calibration either
    std::vector<std::string> lines = clientLines(log);
    EXPECT_EQ(countOf(lines, "UL: zarnsensortest V2 error !!  reutrn is not ok"), 1);
    EXPECT_EQ(countOf(lines, "UL: ISensorFactory service died."), 1);
    EXPECT_FALSE(client.getService());
}

TEST(FactoryClientConcurrency, CallsSurviveServicesComingAndGoing) {
    const size_t before = hostbinder::liveBinderCount();
    std::atomic<bool> stop{false};
    std::atomic<int> answered{0};
    std::atomic<int> odd{0};
    std::vector<std::thread> callers;
    for (int t = 0; t < 3; ++t) {
        callers.emplace_back([&] {
            AidlSensorFactoryHalWrapper client;
            std::vector<int> args = calibrationArgs();
            __test_result_v2 r;
            while (!stop) {
                int ret = client.zarnSensorTestV2(&r, 590, args.data());
                if (ret != 0 && ret != -1) ++odd;
                if (ret == 0 && r.val[0] == FakeSensorFactory::unitCalibration()[0]) ++answered;
            }
        });
    }
    {
        sctest::LogCapture quiet;  // keeps stderr clean
        for (int round = 0; round < 40; ++round) {
            ScopedFakeSensorFactory fake;
            if (round % 3 == 1) fake->dieOnNextCall();
            std::this_thread::sleep_for(2ms);
            if (round % 3 == 0) fake->die();
        }
        stop = true;
        for (std::thread& t : callers) t.join();
    }
    hostbinder::waitForDeathNotifications();
    EXPECT_EQ(odd.load(), 0);
    EXPECT_GT(answered.load(), 0);
    EXPECT_EQ(hostbinder::liveBinderCount(), before);
}

TEST(HostBinderConcurrency, DeletingARecipientWaitsForItsRunningCallback) {
    static std::atomic<bool> started{false};
    static std::atomic<bool> finished{false};
    auto fake = ndk::SharedRefBase::make<FakeSensorFactory>();
    AIBinder_DeathRecipient* recipient = AIBinder_DeathRecipient_new([](void*) {
        started = true;
        std::this_thread::sleep_for(50ms);
        finished = true;
    });
    ndk::SpAIBinder binder = fake->asBinder();
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient, nullptr), STATUS_OK);
    fake->die();
    ASSERT_TRUE(waitFor([] { return started.load(); }));
    AIBinder_DeathRecipient_delete(recipient);
    EXPECT_TRUE(finished.load());
}

}  // namespace
