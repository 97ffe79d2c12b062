#include <gtest/gtest.h>

#include <string>

#include "simset/view/Gate.h"

namespace simset {
namespace {

constexpr char kToken[] = "s3cret";

HttpRequest Get(const std::string& host = "127.0.0.1:8080") {
    HttpRequest request;
    request.method = "GET";
    request.path = "/events";
    request.headers["host"] = host;
    request.query["token"] = kToken;
    return request;
}

HttpRequest Post() {
    HttpRequest request = Get();
    request.method = "POST";
    request.query.clear();
    request.headers["content-type"] = "application/json";
    request.headers["x-simset-token"] = kToken;
    return request;
}

int StatusOf(const HttpRequest& request, bool needsToken = true) {
    const auto refusal = Gate(kToken).Refusal(request, needsToken);
    return refusal ? refusal->status : 200;
}

TEST(ViewGate, LetsInWhoHasTheToken) {
    EXPECT_EQ(StatusOf(Get()), 200);
    EXPECT_EQ(StatusOf(Post()), 200);
}

TEST(ViewGate, RefusesAWrongOrMissingToken) {
    HttpRequest request = Get();
    for (const char* wrong : {"", "s3cre", "s3cret1", "S3cret"}) {
        request.query["token"] = wrong;
        EXPECT_EQ(StatusOf(request), 403) << wrong;
    }
    request.query.clear();
    EXPECT_EQ(StatusOf(request), 403);
    EXPECT_EQ(StatusOf(request, false), 200);
}

TEST(ViewGate, TakesAnActionsTokenFromTheHeaderAlone) {
    HttpRequest request = Post();
    request.headers.erase("x-simset-token");
    request.query["token"] = kToken;
    EXPECT_EQ(StatusOf(request), 403);
}

TEST(ViewGate, AsksForNoTokenWhereThereIsNone) {
    HttpRequest request = Get();
    request.query.clear();
    EXPECT_FALSE(Gate("").Refusal(request, true));
}

TEST(ViewGate, RefusesNamesThatCouldLeadElsewhere) {
    for (const char* host :
         {"evil.example:8080", "127.0.0.1.evil.example", "", "[evil]:80", "localhost.evil.example:80"}) {
        EXPECT_EQ(StatusOf(Get(host)), 421) << host;
        EXPECT_EQ(StatusOf(Get(host), false), 421) << host;
    }
    for (const char* host : {"127.0.0.1:8080", "localhost:9000", "[::1]:8080", "192.168.1.5:80", "10.0.0.1"}) {
        EXPECT_EQ(StatusOf(Get(host)), 200) << host;
    }
}

TEST(ViewGate, RefusesOtherOrigins) {
    HttpRequest request = Post();
    for (const char* origin : {"http://evil.example", "http://127.0.0.1:9", "https://127.0.0.1:8080", "null"}) {
        request.headers["origin"] = origin;
        EXPECT_EQ(StatusOf(request), 403) << origin;
        EXPECT_TRUE(Gate("").Refusal(request, true)) << origin;
    }
    request.headers["origin"] = "http://127.0.0.1:8080";
    EXPECT_EQ(StatusOf(request), 200);
}

TEST(ViewGate, RefusesWhatABrowserSaysIsNotThePagesOwn) {
    HttpRequest request = Get();
    for (const char* site : {"cross-site", "same-site"}) {
        request.headers["sec-fetch-site"] = site;
        EXPECT_EQ(StatusOf(request), 403) << site;
        EXPECT_EQ(StatusOf(request, false), 200) << site;  // a link to the page may stand anywhere
    }
    for (const char* site : {"same-origin", "none"}) {
        request.headers["sec-fetch-site"] = site;
        EXPECT_EQ(StatusOf(request), 200) << site;
    }
}

TEST(ViewGate, RefusesActionsThatAFormCouldSend) {
    HttpRequest request = Post();
    for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded", "multipart/form-data"}) {
        request.headers["content-type"] = type;
        EXPECT_EQ(StatusOf(request), 415) << type;
    }
}

TEST(ViewAddress, Parses) {
    EXPECT_EQ(ParseViewAddress("8080")->Text(), "127.0.0.1:8080");
    EXPECT_EQ(ParseViewAddress(":8080")->Text(), "127.0.0.1:8080");
    EXPECT_EQ(ParseViewAddress("0.0.0.0:0")->Text(), "0.0.0.0:0");
    EXPECT_EQ(ParseViewAddress("[::1]:80")->Text(), "[::1]:80");
    for (const char* wrong : {"", "host:80", "localhost:80", "1.2.3.4", "1.2.3.4:", "1.2.3.4:65536", "1.2.3.4:-1",
                              "::1:80", "[1.2.3.4]:80", "[::1]", "[]:80", "1.2.3.4:80 "}) {
        EXPECT_FALSE(ParseViewAddress(wrong)) << wrong;
    }
}

TEST(ViewAddress, KnowsItsOwnPc) {
    EXPECT_TRUE(ParseViewAddress("127.8.9.1:80")->IsLoopback());
    EXPECT_TRUE(ParseViewAddress("[::1]:80")->IsLoopback());
    EXPECT_FALSE(ParseViewAddress("0.0.0.0:80")->IsLoopback());
    EXPECT_FALSE(ParseViewAddress("[::]:80")->IsLoopback());
}

TEST(ViewToken, IsRandomAndAWordOfAUrl) {
    EXPECT_TRUE(IsToken(RandomToken()));
    EXPECT_EQ(RandomToken().size(), 32U);
    EXPECT_NE(RandomToken(), RandomToken());
    for (const char* wrong : {"", "a b", "a&b", "a%20", "\xC3\xA4"}) {
        EXPECT_FALSE(IsToken(wrong)) << wrong;
    }
}

}  // namespace
}  // namespace simset
