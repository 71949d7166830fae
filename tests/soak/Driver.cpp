#include "Driver.h"

#include <unistd.h>
#include <zeb-bus-sim/BusSimulator.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "Link.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SOAK_WITH_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SOAK_WITH_SANITIZER 1
#endif
#endif
#ifndef SOAK_WITH_SANITIZER
#define SOAK_WITH_SANITIZER 0
#endif

namespace soak {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kService = "ClampControl";
constexpr const char* kRegistry = "serviceregistry";
constexpr const char* kClamps = "/ClampControl/clamps";
constexpr const char* kClamp15 = "/ClampControl/clamps/1";
// For a child's answer. The child has shorter time limits, so beyond this it hangs.
constexpr seconds kPatience{240};

// Sanitizers keep freed memory, so its growth says nothing.
constexpr bool kJudgesMemory = SOAK_WITH_SANITIZER == 0;
constexpr long kDescriptorsMayGrow = 2;  // a kept-alive HTTP connection may be open
// In this time the process may take memory that it keeps: buffers, code, thread stacks.
constexpr seconds kWarmUp{60};
// A shorter run says nothing about growth.
constexpr std::ptrdiff_t kFewestSamples = 20;

struct Sample {
    Clock::duration at;  // since the beginning
    long heap;           // bytes
    long resident;       // KiB, without the pages of files
    long descriptors;
    long threads;
};

class Dice {
 public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    int below(int count) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(count)); }
    std::uint64_t number() { return engine_(); }
    template <typename Container>
    const auto& oneOf(const Container& container) {
        return container[static_cast<std::size_t>(below(static_cast<int>(container.size())))];
    }

 private:
    std::mt19937_64 engine_;
};

void sleepUpTo(Dice& dice, int most) {
    std::this_thread::sleep_for(milliseconds(dice.below(most)));
}

/// The values of the element: its name counts up, and the element is on when the number is odd.
class Sender {
 public:
    Sender(zebbussim::BusSimulator& bus, std::uint64_t seed) : bus_(bus), dice_(seed) {}
    ~Sender() {
        isOver_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    void start() {
        send(1);
        thread_ = std::thread([this] { run(); });
    }
    void pause(bool pauses) {
        const std::lock_guard lock(mutex_);
        isPaused_ = pauses;
    }
    /// The number of the last value.
    std::uint64_t send(int count) {
        const std::lock_guard lock(mutex_);
        sendLocked(count);
        return value_;
    }
    void removeElement() {
        const std::lock_guard lock(mutex_);
        bus_.removeElement(kClamp15);
        isThere_ = false;
    }
    void addElement() {
        const std::lock_guard lock(mutex_);
        bus_.addElement(kClamp15, R"({"id":"1","type":"Clamp15",)" + fields(value_) + "}");
        isThere_ = true;
    }
    void removeService() {
        const std::lock_guard lock(mutex_);
        bus_.removeService(kService);
        isThere_ = false;
    }
    void addService() {
        const std::lock_guard lock(mutex_);
        bus_.addService(kService);
        isThere_ = true;
    }

 private:
    static std::string fields(std::uint64_t value) {
        return R"("name":")" + std::to_string(value) + R"(","isSwitchedOn":)" +
               (value % 2 != 0 ? "true" : "false");
    }

    void sendLocked(int count) {
        for (int index = 0; index < count && isThere_; ++index) {
            bus_.set(kClamp15, "{" + fields(value_ + 1) + "}");
            ++value_;
        }
    }

    void run() {
        while (!isOver_) {
            {
                const std::lock_guard lock(mutex_);
                if (!isPaused_) {
                    // Sometimes more than the client queues.
                    sendLocked(dice_.below(200) == 0 ? 3000 : dice_.below(40));
                }
            }
            sleepUpTo(dice_, 150);
        }
    }

    zebbussim::BusSimulator& bus_;
    Dice dice_;
    std::mutex mutex_;
    std::uint64_t value_ = 0;
    bool isPaused_ = false;
    bool isThere_ = true;
    std::atomic<bool> isOver_ = false;
    std::thread thread_;
};

class Soak {
 public:
    Soak(seconds duration, std::uint64_t seed, std::string directory)
        : duration_(duration),
          seed_(seed),
          directory_(std::move(directory)),
          dice_(seed),
          sender_(bus_, seed + 1) {}

    bool run() {
        bus_.loadFile(VEHICLE_BUS);
        bus_.start();
        const std::string registry = R"("httpUri":")" + bus_.baseUri() + "\"";
        const std::string service = R"("services":{"ClampControl":{"serverBaseUri":")" + bus_.baseUri() +
                                    R"(","serverBasePathHTTP":"/","watchdogTimeout":400}})";
        // The address comes from the registry, the watchdog from the configuration.
        writeConfiguration("dynamicOnly", R"({"serviceRegistrySettings":{"mode":"dynamicOnly",)" + registry +
                                              "}," + service + "}");
        writeConfiguration("staticOnly",
                           R"({"serviceRegistrySettings":{"mode":"staticOnly"},)" + service + "}");
        writeConfiguration(
            "staticBeforeDynamic",
            R"({"serviceRegistrySettings":{"mode":"staticBeforeDynamic",)" + registry + "}," + service + "}");
        sender_.start();
        began_ = Clock::now();

        Child endurance(configuration("dynamicOnly"), {"--endurance", std::to_string(dice_.number())},
                        directory_ + "/endurance.log");
        std::thread generations([this, seed = dice_.number()] { runGenerations(seed); });
        try {
            calm(endurance);
            while (Clock::now() - began_ < duration_) {
                showProgress();
                trouble();
                clearFaults();
                calm(endurance);
            }
            endProgress();
            took_ = std::chrono::duration_cast<seconds>(Clock::now() - began_);
            endurance.link().send("end");
            await(endurance, "total");
            expectEnd("the client that stays", endurance);
        } catch (const std::exception& error) {
            complain(error.what());
        }
        isOver_ = true;
        generations.join();
        judgeBounds();
        report();
        return violations_.empty();
    }

 private:
    struct Fault {
        const char* name;
        std::function<void(Soak&)> happen;
    };

    std::string configuration(const std::string& mode) const { return directory_ + "/" + mode + ".json"; }
    void writeConfiguration(const std::string& mode, const std::string& json) const {
        std::ofstream(configuration(mode)) << json;
    }

    // ------------------------------------------------------------------------------------- faults

    static const std::vector<Fault>& faults() {
        static const std::vector<Fault> all{
            {"connections reset", [](Soak& soak) { soak.bus_.dropConnections(kService); }},
            {"connections closed with a code",
             [](Soak& soak) {
                 static constexpr std::array<std::uint16_t, 9> codes{1000, 1001, 1002, 1003, 1008,
                                                                     1011, 1012, 1013, 4000};
                 soak.bus_.closeConnections(kService, soak.dice_.oneOf(codes));
             }},
            {"registry's connection reset", [](Soak& soak) { soak.bus_.dropConnections(kRegistry); }},
            {"service unavailable for a while",
             [](Soak& soak) {
                 soak.bus_.setServiceAvailable(kService, false);
                 sleepUpTo(soak.dice_, 500);
                 soak.bus_.setServiceAvailable(kService, true);
             }},
            {"service out of the registry for a while",
             [](Soak& soak) {
                 soak.sender_.removeService();
                 sleepUpTo(soak.dice_, 500);
                 soak.sender_.addService();
             }},
            {"element removed for a while",
             [](Soak& soak) {
                 soak.sender_.removeElement();
                 sleepUpTo(soak.dice_, 200);
                 soak.sender_.addElement();
             }},
            {"first notifications delayed",
             [](Soak& soak) { soak.bus_.delayFirstNotification(milliseconds(soak.dice_.below(400))); }},
            {"first notifications withheld for a while",
             [](Soak& soak) {
                 soak.bus_.withholdFirstNotifications();
                 // Sometimes longer than a subscribe waits.
                 sleepUpTo(soak.dice_, soak.dice_.below(20) == 0 ? 7000 : 600);
                 soak.bus_.releaseFirstNotifications();
             }},
            {"garbage as a text message",
             [](Soak& soak) {
                 static const std::vector<std::string> texts{
                     "",
                     "garbage",
                     "{",
                     "[]",
                     "null",
                     "{}",
                     R"({"action":"subscription"})",
                     R"({"action":"subscription","subscriptionId":"no such","seq":0,"data":{}})",
                     R"({"action":"subscribe","requestId":"no such","subscriptionId":"1"})",
                     R"({"action":"nothing known"})",
                     std::string(100000, '[')};
                 soak.bus_.sendText(kClamp15, soak.dice_.oneOf(texts));
             }},
            {"garbage in place of a frame",
             [](Soak& soak) {
                 static const std::vector<std::string> bytes{
                     std::string("\x81\x02\xc3\x28", 4), std::string("\xff\xff\xff\xff", 4),
                     std::string("\x80\x01x", 3), std::string("\x81\xff\x7f\xff\xff\xff\xff\xff\xff\xff", 10),
                     "HTTP/1.1 200 OK\r\n\r\n"};
                 soak.bus_.sendBytes(kClamp15, soak.dice_.oneOf(bytes));
             }},
            {"connections frozen until the watchdog found out",
             [](Soak& soak) {
                 const std::size_t before = soak.bus_.handshakeCount(kService);
                 soak.bus_.freezeConnections(kService);
                 const auto deadline = Clock::now() + seconds(4);
                 while (soak.bus_.handshakeCount(kService) == before && Clock::now() < deadline) {
                     std::this_thread::sleep_for(milliseconds(20));
                 }
                 soak.bus_.dropConnections(kService);  // the frozen ones are still there
             }},
            {"HTTP answered with an error",
             [](Soak& soak) {
                 static constexpr std::array<int, 5> statuses{400, 401, 404, 500, 503};
                 soak.bus_.answerHttp(kClamps, soak.dice_.oneOf(statuses),
                                      soak.dice_.below(2) == 0 ? "" : "{}");
             }},
            {"HTTP answered with garbage",
             [](Soak& soak) {
                 static const std::vector<std::string> bytes{
                     "", "garbage", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"data\":[",
                     "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n[]"};
                 soak.bus_.answerHttpWithBytes(kClamps, soak.dice_.oneOf(bytes));
             }},
            {"HTTP not answered for a while",
             [](Soak& soak) {
                 soak.bus_.ignoreHttp(soak.dice_.below(2) == 0 ? kClamps : "/");
                 sleepUpTo(soak.dice_, soak.dice_.below(20) == 0 ? 6000 : 500);
                 soak.bus_.clearHttpFaults();
             }},
            {"HTTP answered late",
             [](Soak& soak) { soak.bus_.delayHttp("/", milliseconds(soak.dice_.below(300))); }},
        };
        return all;
    }

    // On a terminal only.
    void showProgress() const {
        if (::isatty(STDERR_FILENO) == 1) {
            std::size_t faults = 0;
            for (const auto& [name, count] : counts_) {
                faults += static_cast<std::size_t>(count);
            }
            const auto passed = std::chrono::duration_cast<seconds>(Clock::now() - began_);
            std::fprintf(stderr, "\r  %lld of %lld s, %zu faults", static_cast<long long>(passed.count()),
                         static_cast<long long>(std::chrono::duration_cast<seconds>(duration_).count()),
                         faults);
        }
    }
    static void endProgress() {
        if (::isatty(STDERR_FILENO) == 1) {
            std::fputs("\r\x1b[K", stderr);
        }
    }

    /// Random faults for some seconds.
    void trouble() {
        const auto end = Clock::now() + milliseconds(2000 + dice_.below(6000));
        while (Clock::now() < end && Clock::now() - began_ < duration_) {
            const Fault& fault = dice_.oneOf(faults());
            try {
                fault.happen(*this);
            } catch (const std::exception& error) {
                complain(std::string("the bus refused \"") + fault.name + "\": " + error.what());
            }
            ++counts_[fault.name];
            sleepUpTo(dice_, 300);
            if (dice_.below(3) == 0) {
                clearFaults();
            }
        }
    }

    void clearFaults() {
        bus_.clearHttpFaults();
        bus_.releaseFirstNotifications();
    }

    // ------------------------------------------------------------------------------------- children

    /// Without faults the client is usable and receives every change.
    void calm(Child& child) {
        const auto began = Clock::now();
        // Earlier faults may still cost a connection, which the client then reports. That must not go on
        // forever.
        for (int attempt = 0; attempt < 5; ++attempt) {
            child.link().send("calm");
            await(child, "ready");
            const auto took = std::chrono::duration_cast<milliseconds>(Clock::now() - began);
            longestRecovery_ = std::max(longestRecovery_, took);
            sender_.pause(true);
            const std::uint64_t last = sender_.send(1500);
            child.link().send("expect " + std::to_string(last));
            const bool isTold = await(child, "figures", "disturbed") == "figures";
            if (isTold) {
                removeTheElement(child);
                ++rounds_;
                return;
            }
            sender_.pause(false);
            ++disturbed_;
        }
        complain("the connection does not stay although nothing fails any more");
    }

    /// The element disappears, and comes back with another value.
    void removeTheElement(Child& child) {
        sender_.removeElement();
        child.link().send("gone");
        await(child, "noticed");
        sender_.addElement();
        child.link().send("back " + std::to_string(sender_.send(1)));
        await(child, "followed");
        sender_.pause(false);
    }

    std::string await(Child& child, const std::string& word, const std::string& other = "") {
        const auto deadline = Clock::now() + kPatience;
        while (Clock::now() < deadline && !child.link().isOver()) {
            const auto line = child.link().receive(seconds(1));
            if (!line) {
                continue;
            }
            std::istringstream words(*line);
            std::string first;
            words >> first;
            if (first == "violation") {
                complain(line->substr(10));
            } else if (first == "figures") {
                Sample sample{};
                sample.at = Clock::now() - began_;
                words >> sample.heap >> sample.resident >> sample.descriptors >> sample.threads;
                samples_.push_back(sample);
            } else if (first == "disturbed") {
                std::fprintf(stderr, "%s\n", line->c_str());
            } else if (first == "total") {
                totals_ = line->substr(6);
            }
            if (first == word || first == other) {
                return first;
            }
        }
        throw std::runtime_error("the client that stays did not say \"" + word +
                                 "\": " + (child.link().isOver() ? child.wait(seconds(10)) : "it hangs"));
    }

    void expectEnd(const std::string& who, Child& child) {
        drain(child);
        const std::string end = child.wait(seconds(60));
        if (!end.empty()) {
            complain(who + ": " + end);
        }
    }

    /// Waits until the child has closed its end of the link.
    void drain(Child& child) {
        const auto deadline = Clock::now() + kPatience;
        while (!child.link().isOver() && Clock::now() < deadline) {
            const auto line = child.link().receive(seconds(1));
            if (line && line->rfind("violation ", 0) == 0) {
                complain(line->substr(10));
            } else if (line && line->rfind("ended ", 0) == 0) {
                std::istringstream words(line->substr(6));
                std::string way;
                long long took = 0;
                words >> way >> took;
                const std::lock_guard lock(mutex_);
                ++endings_[way];
                longestStop_ = std::max(longestStop_, milliseconds(took));
            }
        }
    }

    void runGenerations(std::uint64_t seed) {
        Dice dice(seed);
        const std::array<std::string, 3> modes{"staticOnly", "dynamicOnly", "staticBeforeDynamic"};
        while (!isOver_) {
            const std::uint64_t own = dice.number();
            try {
                Child child(configuration(dice.oneOf(modes)), {"--generation", std::to_string(own)},
                            directory_ + "/generations.log");
                expectEnd("the short-lived client with seed " + std::to_string(own), child);
            } catch (const std::exception& error) {
                complain(error.what());
                return;
            }
            sleepUpTo(dice, 1000);
        }
    }

    // ------------------------------------------------------------------------------------- judging

    void complain(const std::string& text) {
        const std::lock_guard lock(mutex_);
        const auto at = std::chrono::duration_cast<milliseconds>(Clock::now() - began_).count();
        violations_.push_back("at " + std::to_string(at) + " ms: " + text);
        std::fprintf(stderr, "BROKEN %s\n", violations_.back().c_str());
    }

    static long median(std::vector<Sample>::const_iterator begin, std::vector<Sample>::const_iterator end,
                       long Sample::*figure) {
        std::vector<long> values;
        std::transform(begin, end, std::back_inserter(values),
                       [figure](const Sample& sample) { return sample.*figure; });
        std::sort(values.begin(), values.end());
        return values.empty() ? 0 : values[values.size() / 2];
    }

    /// Compares the first samples after the warm-up with the last ones. Memory in a calm varies with what
    /// happens to be kept, so growth is a last median above everything seen at first.
    void judgeBounds() {
        const auto isWarm = [this](const Sample& sample) { return sample.at > std::min(kWarmUp, took_ / 5); };
        const auto begin = std::find_if(samples_.cbegin(), samples_.cend(), isWarm);
        const auto count = samples_.cend() - begin;
        if (count < 2) {
            return;
        }
        const auto part = std::max<std::ptrdiff_t>(1, count / 5);
        const auto both = [&](long Sample::*figure) {
            return std::make_pair(median(begin, begin + part, figure),
                                  median(samples_.cend() - part, samples_.cend(), figure));
        };
        heap_ = both(&Sample::heap);
        resident_ = both(&Sample::resident);
        descriptors_ = both(&Sample::descriptors);
        threads_ = both(&Sample::threads);
        const auto judgeMemory = [&](const char* name, long Sample::*figure, long last) {
            const auto isSmaller = [figure](const Sample& one, const Sample& two) {
                return one.*figure < two.*figure;
            };
            const Sample& largest = *std::max_element(begin, begin + part, isSmaller);
            const long first = largest.*figure;
            if (kJudgesMemory && count >= kFewestSamples && last > first) {
                complain(std::string(name) + " grew from at most " + std::to_string(first) + " to " +
                         std::to_string(last));
            }
        };
        judgeMemory("heap in use (bytes)", &Sample::heap, heap_.second);
        judgeMemory("resident memory of its own (KiB)", &Sample::resident, resident_.second);
        if (descriptors_.second > descriptors_.first + kDescriptorsMayGrow) {
            complain("file descriptors grew from " + std::to_string(descriptors_.first) + " to " +
                     std::to_string(descriptors_.second));
        }
        if (threads_.second > threads_.first) {
            complain("threads grew from " + std::to_string(threads_.first) + " to " +
                     std::to_string(threads_.second));
        }
    }

    std::vector<long> leastHeapOfTenths() const {
        std::vector<long> least(10, -1);
        for (const Sample& sample : samples_) {
            const auto tenth = std::min<std::size_t>(9, static_cast<std::size_t>(10 * sample.at / took_));
            least[tenth] = least[tenth] < 0 ? sample.heap : std::min(least[tenth], sample.heap);
        }
        return least;
    }

    void report() {
        std::istringstream totals(totals_);
        std::array<long long, 8> total{};
        for (long long& number : total) {
            totals >> number;
        }
        int happened = 0;
        for (const auto& [name, count] : counts_) {
            happened += count;
        }
        std::printf("Soak of %lld s, seed %llu\n\n", static_cast<long long>(took_.count()),
                    static_cast<unsigned long long>(seed_));
        std::printf("Faults                                              %8d\n", happened);
        for (const auto& [name, count] : counts_) {
            std::printf("  %-48s  %8d\n", name.c_str(), count);
        }
        std::printf("\nThe client that stayed\n");
        const std::array<const char*, 8> names{"connections",
                                               "states told to the callback",
                                               "values told to the data-object subscriber",
                                               "subscribe calls",
                                               "of these refused, as told to the caller",
                                               "longest subscribe call, ms",
                                               "calls that had begun when unsubscribe returned",
                                               "times that the follower's state became known"};
        for (std::size_t index = 0; index < names.size(); ++index) {
            std::printf("  %-48s  %8lld\n", names[index], total[index]);
        }
        std::printf("  %-48s  %8d\n", "rounds of faults survived, all values told after", rounds_ - 1);
        std::printf("  %-48s  %8d\n", "connections lost to a fault that was over", disturbed_);
        std::printf("  %-48s  %8lld\n", "longest way back to a working subscription, ms",
                    static_cast<long long>(longestRecovery_.count()));
        const auto bound = [](const char* name, const std::pair<long, long>& figure) {
            std::printf("  %-48s  %8ld -> %ld\n", name, figure.first, figure.second);
        };
        bound("heap in use, bytes, first fifth -> last", heap_);
        bound("resident memory of its own, KiB", resident_);
        std::printf("  %-48s ", "least heap in use in each tenth of the run, KiB");
        for (const long least : leastHeapOfTenths()) {
            std::printf(" %ld", least / 1024);
        }
        std::printf("\n");
        bound("file descriptors", descriptors_);
        bound("threads", threads_);
        std::printf("\nShort-lived clients\n");
        for (const auto& [way, count] : endings_) {
            std::printf("  %-48s  %8d\n", way.c_str(), count);
        }
        std::printf("  %-48s  %8lld\n", "longest Stop, ms", static_cast<long long>(longestStop_.count()));
        std::printf("\nPromises broken: %zu\n", violations_.size());
        for (const std::string& violation : violations_) {
            std::printf("  %s\n", violation.c_str());
        }
        std::fflush(stdout);
    }

    const seconds duration_;
    const std::uint64_t seed_;
    const std::string directory_;
    Dice dice_;
    zebbussim::BusSimulator bus_;
    Sender sender_;
    Clock::time_point began_{};
    seconds took_{0};
    std::atomic<bool> isOver_ = false;
    std::vector<Sample> samples_;
    std::map<std::string, int> counts_;
    int rounds_ = 0;
    int disturbed_ = 0;
    milliseconds longestRecovery_{0};
    std::string totals_;
    std::pair<long, long> heap_{};
    std::pair<long, long> resident_{};
    std::pair<long, long> descriptors_{};
    std::pair<long, long> threads_{};

    std::mutex mutex_;
    std::vector<std::string> violations_;
    std::map<std::string, int> endings_;
    milliseconds longestStop_{0};
};

}  // namespace

bool drive(seconds duration, std::uint64_t seed, const std::string& directory) {
    return Soak(duration, seed, directory).run();
}

}  // namespace soak
