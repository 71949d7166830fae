#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "Certificates.h"
#include "ClientFixture.h"
#include "FarServer.h"
#include "FaultProxy.h"
#include "FaultTable.h"
#include "Machine.h"
#include "TemporaryDirectory.h"
#include "TrustedAuthority.h"

namespace e2e {

/// A row and a column of the fault table.
struct FaultCase {
    const FaultRow* row;
    std::size_t moment;

    Moment when() const { return kMoments.at(moment).moment; }
    Cell cell() const { return row->cells.at(moment); }
};

/// Every cell of the table that is tested.
std::vector<FaultCase> allFaultCases();

/// Whether the bytes that the proxy holds when the fault begins never arrive, or only once it is over.
bool keepsWhatIsHeld(Fault fault);

/// For the names of tests.
std::string nameOf(const testing::TestParamInfo<FaultCase>& info);
void PrintTo(const FaultCase& one, std::ostream* stream);

/// The files of TLS, if the test needs any.
struct TlsFiles {
    explicit TlsFiles(bool isNeeded) {
        if (isNeeded) {
            const test_support::CertificationAuthority authority{directory.path(), "authority"};
            const auto certificate = authority.issue("bus");
            options.tlsCertificateFile = certificate.certificateFile;
            options.tlsKeyFile = certificate.keyFile;
            trustStore = authority.certificateFile();
            trusted.emplace(trustStore);
        }
    }

    void hideTrustStore() const { std::filesystem::rename(trustStore, trustStore + ".hidden"); }
    void showTrustStore() const { std::filesystem::rename(trustStore + ".hidden", trustStore); }

    const test_support::TemporaryDirectory directory;
    std::string trustStore;
    std::optional<test_support::TrustedAuthority> trusted;
    zebbussim::BusSimulator::Options options;
};

/// A vehicle's bus with one fault of the table: makes the fault, and takes it away again. The client finds
/// the bus through a proxy or a server of its own, as the fault requires.
class FaultScene : private TlsFiles, public ClientFixture {
 public:
    ~FaultScene() override;

 protected:
    explicit FaultScene(const FaultCase& faultCase);

    void SetUp() override;
    void TearDown() override;

    Fault fault() const { return case_.row->fault; }
    Moment moment() const { return case_.when(); }
    Outcome outcome() const { return case_.cell().outcome; }
    std::chrono::milliseconds within() const;

    void apply();
    void clear();

    /// Whether the test can reach the element while the fault is there.
    bool canChange() const { return !far_ && !isDeleted_ && fault() != Fault::RegistryFlaps; }
    void change(bool isOn);
    void changeIfPossible() {
        if (canChange()) {
            change(true);
        }
    }

    FaultProxy& proxy() { return proxy_; }
    Machine& machine() { return machine_; }
    /// Whether the bus is a program of its own.
    bool isFar() const { return far_ != nullptr; }

    static constexpr const char* kName = "vehicle.test";

 private:
    static zebbussim::BusSimulator::Options busOptions(zebbussim::BusSimulator::Options options, Fault fault);
    std::string baseUri() const;
    void startBeside(std::function<void()> step);
    void endBeside();

    const FaultCase case_;
    FaultProxy proxy_{bus.port()};
    std::unique_ptr<FarServer> far_;
    std::string clampAtFirst_;
    bool isDeleted_ = false;
    Machine machine_;
    std::atomic<bool> besideRuns_ = false;
    std::thread besideThread_;
};

}  // namespace e2e
