#include <gtest/gtest.h>

#include <android/binder_manager.h>

#include <atomic>
#include <thread>

#include <aidl/vendor/zarn/hardware/sensorfactory/ISensorFactory.h>

#include "platform/host/binder/FakeSensorFactory.h"
#include "platform/host/binder/HostBinder.h"

using aidl::vendor::zarn::hardware::sensorfactory::ISensorFactory;
using aidl::vendor::zarn::hardware::sensorfactory::SensorTestResultV2;
using hostbinder::FakeSensorFactory;

namespace {

// Status objects read back as the NDK documents them.
TEST(HostBinderStatus, ReadsBackAsDocumented) {
    struct {
        AStatus* status;
        bool ok;
        binder_exception_t exception;
        int32_t serviceSpecific;
        binder_status_t transport;
    } cases[] = {
            {AStatus_newOk(), true, EX_NONE, 0, STATUS_OK},
            {AStatus_fromStatus(STATUS_OK), true, EX_NONE, 0, STATUS_OK},
            {AStatus_fromStatus(STATUS_DEAD_OBJECT), false, EX_TRANSACTION_FAILED, 0, STATUS_DEAD_OBJECT},
            {AStatus_fromServiceSpecificError(42), false, EX_SERVICE_SPECIFIC, 42, STATUS_OK},
            {AStatus_fromExceptionCode(EX_SECURITY), false, EX_SECURITY, 0, STATUS_OK},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ndk::ScopedAStatus s(c.status);
        EXPECT_EQ(s.isOk(), c.ok);
        EXPECT_EQ(s.getExceptionCode(), c.exception);
        EXPECT_EQ(s.getServiceSpecificError(), c.serviceSpecific);
        EXPECT_EQ(s.getStatus(), c.transport);
    }
}

TEST(HostBinderServiceManager, CountsReferencesAndReleasesTheServiceObject) {
    const size_t before = hostbinder::liveBinderCount();
    std::weak_ptr<FakeSensorFactory> watch;
    {
        auto fake = ndk::SharedRefBase::make<FakeSensorFactory>();
        watch = fake;
        ASSERT_TRUE(fake->registerAs("test.instance/a"));
    }
    // The registration alone keeps the service alive.
    EXPECT_FALSE(watch.expired());
    AIBinder* binder = AServiceManager_checkService("test.instance/a");
    ASSERT_NE(binder, nullptr);
    EXPECT_EQ(AIBinder_debugGetRefCount(binder), 2);
    EXPECT_EQ(AServiceManager_checkService("test.instance/b"), nullptr);

    EXPECT_TRUE(hostbinder::removeService("test.instance/a"));
    EXPECT_FALSE(hostbinder::removeService("test.instance/a"));
    EXPECT_EQ(AServiceManager_checkService("test.instance/a"), nullptr);
    EXPECT_EQ(AIBinder_debugGetRefCount(binder), 1);
    EXPECT_FALSE(watch.expired());
    AIBinder_decStrong(binder);
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(hostbinder::liveBinderCount(), before);
}

TEST(HostBinderProxy, DeadServiceAnswersDeadObjectAndLeavesOutputUntouched) {
    auto fake = ndk::SharedRefBase::make<FakeSensorFactory>();
    std::shared_ptr<ISensorFactory> proxy = ISensorFactory::fromBinder(fake->asBinder());
    ASSERT_NE(proxy, nullptr);
    EXPECT_TRUE(proxy->isRemote());

    int32_t version = 0;
    std::string hash;
    EXPECT_TRUE(proxy->getInterfaceVersion(&version).isOk());
    EXPECT_TRUE(proxy->getInterfaceHash(&hash).isOk());
    EXPECT_EQ(version, 1);
    EXPECT_EQ(hash, ISensorFactory::hash);

    fake->die();
    EXPECT_FALSE(AIBinder_isAlive(proxy->asBinder().get()));
    SensorTestResultV2 out;
    out.success = 77;
    ndk::ScopedAStatus s = proxy->runSensorTestV2(590, {}, &out);
    EXPECT_EQ(s.getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(out.success, 77);
    AIBinder_DeathRecipient* recipient = AIBinder_DeathRecipient_new([](void*) {});
    EXPECT_EQ(AIBinder_linkToDeath(proxy->asBinder().get(), recipient, nullptr), STATUS_DEAD_OBJECT);
    AIBinder_DeathRecipient_delete(recipient);
}

TEST(HostBinderProxy, NullOrForeignBinderGivesNoInterface) {
    EXPECT_EQ(ISensorFactory::fromBinder(ndk::SpAIBinder()), nullptr);
    auto fake = ndk::SharedRefBase::make<FakeSensorFactory>();
    ndk::SpAIBinder foreign(hostbinder::newBinder("some.other.IThing", fake));
    EXPECT_EQ(ISensorFactory::fromBinder(foreign), nullptr);
}

TEST(HostBinderDeath, RecipientsRunOnAnotherThreadOncePerLink) {
    static std::atomic<int> calls{0};
    static std::thread::id where;
    calls = 0;
    auto fake = ndk::SharedRefBase::make<FakeSensorFactory>();
    ndk::SpAIBinder binder = fake->asBinder();
    AIBinder_DeathRecipient* recipient = AIBinder_DeathRecipient_new([](void* cookie) {
        where = std::this_thread::get_id();
        calls += *static_cast<int*>(cookie);
    });
    int one = 1, hundred = 100, unlinked = 10000;
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient, &one), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient, &hundred), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient, &unlinked), STATUS_OK);
    EXPECT_EQ(AIBinder_unlinkToDeath(binder.get(), recipient, &unlinked), STATUS_OK);
    EXPECT_EQ(AIBinder_unlinkToDeath(binder.get(), recipient, &unlinked), STATUS_NAME_NOT_FOUND);

    fake->die();
    fake->die();  // a process dies once
    hostbinder::waitForDeathNotifications();
    EXPECT_EQ(calls.load(), 101);
    EXPECT_NE(where, std::this_thread::get_id());
    AIBinder_DeathRecipient_delete(recipient);
}

}  // namespace
