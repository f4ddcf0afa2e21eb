// Who comes to a port that speaks TLS: honest clients, and those that only want to be a burden.
#include "host/net/TlsDoor.h"

#include <openssl/ssl.h>

#include <chrono>
#include <thread>

#include "tests/host/net/EchoFixture.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using test::EchoFixture;
using vms::test::TestSocket;
using Clients = std::vector<std::unique_ptr<TestSocket>>;

/// The first bytes of a record that holds a ClientHello, of which the rest does not come.
constexpr std::string_view kHalfHello("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11);

class TlsDoorTest : public EchoFixture {
protected:
    Clients Strangers(size_t count, std::string_view bytes) const {
        Clients strangers;
        for (size_t i = 0; i < count; ++i) {
            strangers.push_back(std::make_unique<TestSocket>(Port()));
            strangers.back()->Send(bytes);  // fails for one that has been ended meanwhile
        }
        return strangers;
    }

    /// Waits for a count to be reached. @return what it is then
    uint64_t Reaches(uint64_t TlsCounts::*count, uint64_t wanted) const {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (Counts().*count < wanted && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(1ms);
        return Counts().*count;
    }

    static void ExpectAllEnd(Clients& clients) {
        std::string rest;
        for (const auto& client : clients)
            EXPECT_TRUE(client->ReadToEnd(rest));
    }
};

TEST_F(TlsDoorTest, OnePortSpeaksTlsAndPlain) {
    Start();
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        const auto client = Secure(version);
        EXPECT_EQ(SSL_version(client->Tls()->Native()), version);
        EXPECT_TRUE(Echoes(*client, std::string(300'000, 'x')));
        EXPECT_TRUE(Latest()->GetWire().IsSecure());
        client->FinishSending();
        std::string rest;
        EXPECT_TRUE(client->ReadToEnd(rest));
        EXPECT_TRUE(client->Tls()->PeerHasFinished()) << "the end looks like a cut";
    }
    TestSocket plain(Port());
    EXPECT_TRUE(Echoes(plain, "GET"));
    EXPECT_FALSE(Latest()->GetWire().IsSecure());
    EXPECT_EQ(Counts().secure, 2U);
    EXPECT_EQ(Counts().plain, 1U);
}

TEST_F(TlsDoorTest, OldVersionsAndWeakCiphersAreRefused) {
    Start();
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
        TestSocket client(Port());
        EXPECT_FALSE(client.StartTls(version));
    }
    TestSocket client(Port());
    vms::test::TestTls* tls = nullptr;
    EXPECT_TRUE(client.StartTls(TLS1_2_VERSION));
    tls = client.Tls();
    EXPECT_STREQ(SSL_get_cipher_name(tls->Native()), "ECDHE-ECDSA-AES128-GCM-SHA256");
    EXPECT_EQ(Reaches(&TlsCounts::failed, 2), 2U);
}

TEST_F(TlsDoorTest, SlowHandshakesGiveWayToNewcomersAndHarmNobodyWhoIsIn) {
    constexpr size_t kSlow = 500;
    limits_.patience = 1h;
    Start();
    const auto inside = Secure();
    Clients silent = Strangers(kSlow / 2, "");
    Clients half = Strangers(kSlow / 2, kHalfHello);
    EXPECT_EQ(Reaches(&TlsCounts::displaced, kSlow - limits_.unfinished),
              kSlow - limits_.unfinished);
    silent.resize(kSlow - limits_.unfinished);  // the rest has not had to go yet
    ExpectAllEnd(silent);
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(Echoes(*Secure(), "a newcomer"));
        EXPECT_TRUE(Echoes(*inside, "still here"));
    }
    listener_->Stop();
    ExpectAllEnd(half);
    EXPECT_TRUE(Echoes(*inside, "even now"));
}

/// A slow client from elsewhere keeps its place, whatever crowd comes, and so does one that is in
/// the middle of its handshake.
TEST_F(TlsDoorTest, ACrowdDrivesOutItself) {
    constexpr size_t kCrowd = 600;
    limits_.patience = 1h;
    Start();
    TestSocket slow(Port(), 0, "127.0.0.9");
    TestSocket shaking(Port());
    ASSERT_TRUE(shaking.BeginTls());
    Clients crowd = Strangers(kCrowd, kHalfHello);
    const uint64_t wanted = kCrowd + 1 - limits_.unfinished;
    EXPECT_EQ(Reaches(&TlsCounts::displaced, wanted), wanted);
    EXPECT_TRUE(shaking.Tls()->Shake());
    EXPECT_TRUE(Echoes(shaking, "in"));
    EXPECT_TRUE(slow.StartTls());
    EXPECT_TRUE(Echoes(slow, "in, too"));
    EXPECT_EQ(Counts().displaced, wanted);
}

TEST_F(TlsDoorTest, WhoTakesTooLongIsEnded) {
    limits_.patience = 100ms;
    Start();
    Clients slow = Strangers(3, "");
    for (const std::string_view bytes : {kHalfHello, kHalfHello.substr(0, 1)})
        slow.push_back(std::move(Strangers(1, bytes).front()));
    TestSocket drips(Port());
    for (const char byte : kHalfHello) {
        drips.Send({&byte, 1});
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(Reaches(&TlsCounts::tooLate, 6), 6U);
    ExpectAllEnd(slow);
    std::string rest;
    EXPECT_TRUE(drips.ReadToEnd(rest));
    EXPECT_TRUE(Echoes(*Secure(), "in time"));
}

TEST_F(TlsDoorTest, GarbageAndThoseWhoGoInTheMiddleEndAlone) {
    Start();
    const auto inside = Secure();
    std::string noise("\x16\x03\x01\x40\x00", 5);
    for (size_t i = 0; i < 0x4000; ++i)
        noise += static_cast<char>(i * 31 >> 3);
    std::string longHello("\x16\x03\x01\x40\x00\x01\x01\xff\xff",
                          9);  // of 128 KiB, in many records
    longHello.resize(5 + 0x4000, '\3');
    for (int i = 0; i < 7; ++i)
        longHello += std::string("\x16\x03\x03\x40\x00", 5) + std::string(0x4000, '\3');
    for (const std::string& bytes :
         {noise, longHello, std::string("\x16\xff\xff\xff\xff\xff\xff", 7),
          std::string(9, '\x16')}) {
        TestSocket client(Port());
        client.Send(bytes);  // may be cut off before it has sent all
        std::string answer;
        EXPECT_TRUE(client.ReadToEnd(answer)) << testing::PrintToString(bytes.substr(0, 20));
        EXPECT_LT(answer.size(), 100U);
    }
    for (const std::string_view bytes : {std::string_view(), kHalfHello}) {
        TestSocket(Port()).Send(bytes);
        TestSocket reset(Port());
        reset.Send(bytes);
        reset.Reset();
    }
    EXPECT_EQ(Reaches(&TlsCounts::failed, 8), 8U);
    EXPECT_TRUE(Echoes(*inside, "unharmed"));
}

/// TLS 1.2: the server says no, and both go on.
TEST_F(TlsDoorTest, RenegotiationIsRefused) {
    Start();
    const auto client = Secure(TLS1_2_VERSION);
    SSL* const tls = client->Tls()->Native();
    ASSERT_EQ(SSL_renegotiate(tls), 1);
    EXPECT_FALSE(client->Tls()->Shake());
    EXPECT_TRUE(Echoes(*Secure(TLS1_2_VERSION), "others go on"));
}

/// TLS 1.3: a few new keys are fine, nothing but new keys is not. Where the kernel sends the first
/// that is asked for ends the client.
TEST_F(TlsDoorTest, NewKeysAreTakenButNotWithoutEnd) {
    Start();
    const auto client = Secure(TLS1_3_VERSION);
    SSL* const tls = client->Tls()->Native();
    const bool isTaken = !IsSentByKernel(*Latest());
    for (const int kind : {SSL_KEY_UPDATE_NOT_REQUESTED, SSL_KEY_UPDATE_REQUESTED}) {
        ASSERT_EQ(SSL_key_update(tls, kind), 1);
        ASSERT_EQ(Echoes(*client, "under a new key"),
                  isTaken || kind == SSL_KEY_UPDATE_NOT_REQUESTED);
    }
    constexpr int kFlood = 10'000;
    int sent = 0;
    while (sent < kFlood && SSL_key_update(tls, SSL_KEY_UPDATE_REQUESTED) == 1 &&
           client->Tls()->Shake())
        ++sent;
    std::string rest;
    EXPECT_TRUE(client->ReadToEnd(rest)) << "after " << sent;
    EXPECT_TRUE(Echoes(*Secure(), "others go on"));
}

TEST_F(TlsDoorTest, ANewCertificateIsForNewHandshakesAndABrokenOneForNone) {
    Start();
    const auto before = Secure();
    const std::string old = tls_->Certificate().fingerprint;
    EXPECT_EQ(before->Tls()->Fingerprint(), old);

    credentials_ = MakeSelfSigned({"localhost"});
    tls_->Reload();
    const auto after = Secure();
    EXPECT_NE(after->Tls()->Fingerprint(), old);
    EXPECT_EQ(after->Tls()->Fingerprint(), tls_->Certificate().fingerprint);
    EXPECT_TRUE(Echoes(*before, "still under the old one"));

    credentials_.key = MakeSelfSigned({"localhost"}).key;
    EXPECT_THROW(tls_->Reload(), std::runtime_error);
    EXPECT_EQ(Secure()->Tls()->Fingerprint(), after->Tls()->Fingerprint());
}

}  // namespace
}  // namespace vms::host
