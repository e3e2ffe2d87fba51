#include "PracticePage/AccessControl.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

TEST(AccessControlTests, ATokenBeginsOneSession) {
    AccessControl access({});
    const auto token = access.newToken();
    EXPECT_EQ(token.size(), 32u);
    EXPECT_NE(token, access.newToken());
    EXPECT_FALSE(access.beginWithToken(token.substr(0, 31)));
    EXPECT_FALSE(access.beginWithToken(""));
    const auto begun = access.beginWithToken(token);
    ASSERT_TRUE(begun);
    EXPECT_FALSE(access.beginWithToken(token));
    EXPECT_NE(begun->session, token);
    ASSERT_TRUE(access.admission(begun->session));
    EXPECT_TRUE(access.admission(begun->session)->mayEdit);
    EXPECT_FALSE(access.admission(token));
    EXPECT_FALSE(access.admission(""));
}

TEST(AccessControlTests, FiveWrongCodesEndTheOffer) {
    AccessControl access({.isOnNetwork = true});
    const auto code = access.code();
    ASSERT_TRUE(code);
    const std::string wrong = *code == "00000000" ? "00000001" : "00000000";
    for (int i = 0; i < 4; ++i)
        EXPECT_FALSE(access.beginWithCode(wrong));
    const auto begun = access.beginWithCode(*code);
    ASSERT_TRUE(begun);
    EXPECT_FALSE(begun->admission.mayEdit);
    EXPECT_FALSE(access.beginWithCode(wrong));
    EXPECT_FALSE(access.code());
    EXPECT_FALSE(access.beginWithCode(*code));
    EXPECT_FALSE(access.beginWithCode(""));        // the code that is gone
    EXPECT_TRUE(access.admission(begun->session)); // who is in stays in
    EXPECT_FALSE(AccessControl({}).beginWithCode(""));
}

TEST(AccessControlTests, TheOldestOfTooManySessionsEnds) {
    AccessControl access({});
    const auto first = access.beginWithToken(access.newToken())->session;
    for (std::size_t i = 1; i < AccessControl::kMostSessions; ++i)
        (void)access.beginWithToken(access.newToken());
    EXPECT_TRUE(access.admission(first));
    (void)access.beginWithToken(access.newToken());
    EXPECT_FALSE(access.admission(first));
}

TEST(AccessControlTests, RequestsNameThisServerAndComeFromItsPages) {
    AccessControl access({});
    const auto isAdmitted = [&](const char* method, HTTPRequest::Fields headers) {
        return access.isAddressedHere({method, "/", {}, std::move(headers), ""});
    };
    EXPECT_FALSE(isAdmitted("GET", {{"host", "127.0.0.1:80"}})); // not before the port is known
    access.setHosts({"127.0.0.1:80", "localhost:80"});
    EXPECT_TRUE(isAdmitted("GET", {{"host", "127.0.0.1:80"}}));
    EXPECT_TRUE(isAdmitted("GET", {{"host", "localhost:80"}, {"origin", "http://localhost:80"}}));
    EXPECT_TRUE(isAdmitted("POST", {{"host", "localhost:80"}, {"origin", "http://localhost:80"}}));
    // A name of somebody else's that leads here (DNS rebinding), another port, none, two.
    for (const char* host : {"evil.example:80", "127.0.0.1:81", "127.0.0.1", "127.0.0.1:80.evil.example", ""})
        EXPECT_FALSE(isAdmitted("GET", {{"host", host}})) << host;
    EXPECT_FALSE(isAdmitted("GET", {}));
    EXPECT_FALSE(isAdmitted("GET", {{"host", "127.0.0.1:80"}, {"host", "127.0.0.1:80"}}));
    // Another site's page.
    for (const char* origin :
         {"http://evil.example", "null", "https://127.0.0.1:80", "http://localhost:80", ""})
        EXPECT_FALSE(isAdmitted("GET", {{"host", "127.0.0.1:80"}, {"origin", origin}})) << origin;
    EXPECT_FALSE(isAdmitted("POST", {{"host", "127.0.0.1:80"}}));
    EXPECT_FALSE(isAdmitted("DELETE", {{"host", "127.0.0.1:80"}}));
}

} // namespace
} // namespace tarn
