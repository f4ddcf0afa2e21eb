#include "host/config/Password.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "host/text/HostError.h"
#include "tests/host/TemporaryFile.h"

namespace {

using vms::host::PasswordSource;
using vms::host::ResolvePassword;
using vms::host::test::TemporaryFile;

PasswordSource InFile(const TemporaryFile& file) {
    return {std::nullopt, file.Path()};
}

TEST(Password, OnlyUtf8IsTakenAndItStaysAsItIs) {
    const std::string good = "p\xc3\xa4ss\xe2\x82\xac\xf0\x9f\x94\x92 ";
    EXPECT_EQ(ResolvePassword(InFile(TemporaryFile(good + "\r\nsecond\n"))), good);
    EXPECT_EQ(ResolvePassword(InFile(TemporaryFile(std::string(5000, 'x')))),
              std::string(5000, 'x'));
    EXPECT_EQ(ResolvePassword({good, std::nullopt}), good);
    const std::string zeros("p\0a\0", 4);
    for (const std::string& bad : {std::string("p\xe4ss\n"), std::string("cut \xe2\x82"), zeros,
                                   std::string("surrogate \xed\xa0\x80"),
                                   std::string("long \xc0\xaf"), std::string(1022, 'x') + "\xe4"}) {
        const TemporaryFile file(bad);
        try {
            ResolvePassword(InFile(file));
            ADD_FAILURE() << testing::PrintToString(bad) << " is taken";
        } catch (const vms::host::HostError& error) {
            EXPECT_EQ(std::string(error.what()),
                      "the password file " + file.Path() + " is not UTF-8 text");
        }
    }
    EXPECT_THROW(ResolvePassword({"p\xe4ss", std::nullopt}), vms::host::HostError);
}

}  // namespace
