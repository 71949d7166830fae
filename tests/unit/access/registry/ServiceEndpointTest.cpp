#include <gtest/gtest.h>
#include <zeb/ZebException.h>

#include "registry/ServiceEndpoint.h"

namespace {

TEST(ServiceEndpoint, BringsABasePathIntoOneForm) {
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:1", "").basePath, "/");
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:1", "bus").basePath, "/bus/");
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:1", "/bus/").basePath, "/bus/");
}

TEST(ServiceEndpoint, DropsTheSlashAfterABaseUri) {
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://127.0.0.1:8080/", "/").serverBaseUri, "http://127.0.0.1:8080");
}

TEST(ServiceEndpoint, PutsTheWebSocketAtTheBasePathWithTheServicesName) {
    EXPECT_EQ(zeb::ServiceEndpoint::of("http://[::1]:8080", "/bus").websocketUri("Clamp Control"),
              "ws://[::1]:8080/bus/Clamp%20Control");
}

TEST(ServiceEndpoint, RefusesWhatIsNoBaseUri) {
    for (const char* uri :
         {"", "/", "127.0.0.1:80", "ftp://host", "http://", "http://host/path", "http://host:port"}) {
        EXPECT_THROW(zeb::ServiceEndpoint::of(uri, "/"), zeb::ZebException) << uri;
    }
}

}  // namespace
