#include "ClientFixture.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace e2e {

namespace {

const std::filesystem::path kConfiguration = "/var/run/csc/config/kelo-client/ClientConfig.json";

}  // namespace

ClientFixture::ClientFixture(const zebbussim::BusSimulator::Options& busOptions) : bus(busOptions) {
    static bool isFirst = true;
    if (!std::exchange(isFirst, false)) {
        throw std::logic_error("one test per process: run ctest, or name one test with --gtest_filter");
    }
    bus.loadFile(VEHICLE_BUS);
    bus.start();
}

ClientFixture::~ClientFixture() = default;

void ClientFixture::writeConfiguration(const std::string& json) {
    std::filesystem::create_directories(kConfiguration.parent_path());
    std::ofstream(kConfiguration) << json;
}

std::string ClientFixture::staticConfiguration(const std::string& furtherSettings) const {
    return R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
           bus.baseUri() + R"(","serverBasePathHTTP":"/")" + furtherSettings + "}}}";
}

void ClientFixture::createClient() {
    if (!std::filesystem::exists(kConfiguration)) {
        writeConfiguration(staticConfiguration());
    }
    client = std::make_unique<clampcontrolclient::ClampControlClient>();
    client->AssignCallback(&application);
}

void ClientFixture::startClient() {
    createClient();
    client->Start();
}

void ClientFixture::connectClient() {
    startClient();
    ASSERT_EQ(application.next(), "connected");
}

void ClientFixture::subscribeClient() {
    setClamp15(false);
    connectClient();
    uuid = client->SubscribeClampControl();
    ASSERT_EQ(uuid, "1");
    ASSERT_EQ(application.next(), "notification");
    ASSERT_EQ(application.next(), "off");
}

}  // namespace e2e
