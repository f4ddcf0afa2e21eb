// Devices known by name, and whom they trust. This program's getaddrinfo stands in for a dead name
// server; what libcurl makes OpenSSL read is looked at on the way.
#include <dlfcn.h>
#include <netdb.h>
#include <openssl/x509_vfy.h>

#include <atomic>
#include <string_view>

#include "platform/Mutex.h"
#include "platform/WebSocketSettings.h"
#include "tests/drivers/httpdevice/FamilyFixture.h"
#include "tests/platform/websocket/SelfSigned.h"

namespace {

class DeadNameServer {
public:
    void Ask() {
        vms::MutexLock lock(mutex_);
        ++asked_;
        while (!alive_)
            changed_.Wait(mutex_);
    }
    int Asked() {
        vms::MutexLock lock(mutex_);
        return asked_;
    }
    void Die() {
        vms::MutexLock lock(mutex_);
        alive_ = false;
        asked_ = 0;
    }
    void Revive() {
        vms::MutexLock lock(mutex_);
        alive_ = true;
        changed_.NotifyAll();
    }

private:
    vms::Mutex mutex_;
    vms::CondVar changed_;
    int asked_ VMS_GUARDED_BY(mutex_) = 0;
    bool alive_ VMS_GUARDED_BY(mutex_) = false;
};

/// Never destroyed: a look-up may outlive the test.
DeadNameServer& nameServer = *new DeadNameServer;

std::atomic<int> foldersTrusted{0};

}  // namespace

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** found) {
    const bool literal = hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0;
    if (!literal && host != nullptr && std::string_view(host) == "dead.test") {
        nameServer.Ask();
        return EAI_AGAIN;
    }
    static const auto real =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(host, service, hints, found);
}

extern "C" int X509_STORE_load_path(X509_STORE* store, const char* folder) {
    ++foldersTrusted;
    static const auto real =
        reinterpret_cast<decltype(&X509_STORE_load_path)>(dlsym(RTLD_NEXT, "X509_STORE_load_path"));
    return real(store, folder);
}

namespace vms::httpdevice {
namespace {

class NamesTest : public FamilyFixture {
protected:
    void SetUp() override {
        nameServer.Die();
        foldersTrusted = 0;
    }
    void TearDown() override {
        nameServer.Revive();
        SetWebSocketSettings({});
    }
};

TEST_F(NamesTest, ADeadNameServerHoldsUpNoOtherDevice) {
    Init("connectTimeoutMs=200 heartbeatMs=200 maxProbeGapMs=200");
    const HttpDevsim sim({"--count", "2", "--https"});
    const auto device = Make(sim.Device(0));
    ASSERT_TRUE(Works(*device));
    __tagTvVideoParam description = sim.Device(1);
    description.ip = "dead.test";
    const auto dead = Make(description);
    ASSERT_TRUE(Eventually([] { return nameServer.Asked() > 0; }));
    const auto beats = [&] {
        return sim.State(0)["stats"]["counts"]["session/heart-beat"].asInt();
    };
    const int before = beats();
    ASSERT_TRUE(Eventually([&] { return beats() > before + 5; }));
    EXPECT_EQ(dead->GetDevSessionId(), "");
    EXPECT_FALSE(Works(*dead));
    EXPECT_EQ(nameServer.Asked(), 1) << "once at a time";
    for (const bool https : {false, true}) {
        description = sim.Device(1, https);
        description.ip = "localhost";
        const auto named = Make(description);
        EXPECT_NE(named->GetDevSessionId(), "");
        EXPECT_TRUE(Works(*named));
    }
    EXPECT_EQ(factory_.UnInit(), 0) << "the look-up is left behind";
}

TEST_F(NamesTest, GivenAuthoritiesReplaceThoseOfTheSystem) {
    const HttpDevsim sim({"--https"});
    const test::SelfSigned another;
    Init("verifyCertificates=1 trustedCertificates=" + another.Certificate());
    EXPECT_FALSE(Works(*Make(sim.Device(0, true))));
    EXPECT_EQ(foldersTrusted, 0);
    Init("verifyCertificates=1");
    EXPECT_FALSE(Works(*Make(sim.Device(0, true))));
    EXPECT_GT(foldersTrusted, 0) << "so this is where it would be seen";
}

}  // namespace
}  // namespace vms::httpdevice
