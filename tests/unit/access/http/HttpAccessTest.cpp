#include <OpenToSigpipe.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <TrustedAuthority.h>
#include <gtest/gtest.h>
#include <zeb/HttpAccessFactory.h>
#include <zeb/ZebException.h>
#include <zebutil/HttpSession.h>
#include <zebutil/PocoHttpSessionFactory.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Poco::Net::StreamSocket;

/// A server that runs the test's script on each connection, one after another, until it is destroyed.
class ScriptedServer {
 public:
    explicit ScriptedServer(std::function<void(StreamSocket&, const std::atomic<bool>& isEnding)> script,
                            const std::string& address = "127.0.0.1")
        : socket_(Poco::Net::SocketAddress(address, 0)), thread_([this, script] {
              while (!isEnding_) {
                  StreamSocket connection = socket_.acceptConnection();
                  if (isEnding_) {
                      return;
                  }
                  try {
                      script(connection, isEnding_);
                  } catch (const Poco::Exception&) {
                      // The client has disconnected; wait for the next one.
                  }
              }
          }) {}

    ~ScriptedServer() {
        isEnding_ = true;
        StreamSocket(socket_.address()).close();  // wakes the accepting thread
        thread_.join();
    }

    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::string baseUri() const { return "http://" + socket_.address().toString(); }

    static std::string readRequest(StreamSocket& connection) {
        std::string request;
        char character = 0;
        while (request.find("\r\n\r\n") == std::string::npos && connection.receiveBytes(&character, 1) == 1) {
            request.push_back(character);
        }
        return request;
    }

    static void send(StreamSocket& connection, const std::string& text) {
        connection.sendBytes(text.data(), static_cast<int>(text.size()));
    }

 private:
    Poco::Net::ServerSocket socket_;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

zeb::HttpAccessFactory factory() {
    return zeb::HttpAccessFactory(std::make_shared<zebutil::PocoHttpSessionFactory>());
}

std::shared_ptr<zeb::ITpAccess> accessTo(const ScriptedServer& server, const std::string& separator = "") {
    return factory().createAccess({"ClampControl", server.baseUri(), "/bus", separator});
}

// Sends an endless answer, one piece every 10 ms, until the client disconnects or the server ends.
void trickle(StreamSocket& connection, const std::string& begin, const std::string& piece,
             const std::atomic<bool>& isEnding) {
    ScriptedServer::readRequest(connection);
    ScriptedServer::send(connection, begin);
    while (!isEnding) {
        ScriptedServer::send(connection, piece);
        std::this_thread::sleep_for(10ms);  // this is the fault, not a wait
    }
}

void expectAnEndBeforeFiveSeconds(const std::shared_ptr<zeb::ITpAccess>& sut) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THROW(sut->get("clamps", "", {}), std::exception);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST(HttpAccess, GivesUpOnAHeaderThatTricklesInWithoutEnd) {
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>& isEnding) {
        trickle(connection, "HTTP/1.1 200 OK\r\nX-Endless: ", "x", isEnding);
    });
    expectAnEndBeforeFiveSeconds(accessTo(server));
}

TEST(HttpAccess, GivesUpOnABodyThatTricklesInWithoutEnd) {
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>& isEnding) {
        trickle(connection, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", "1\r\nx\r\n", isEnding);
    });
    expectAnEndBeforeFiveSeconds(accessTo(server));
}

TEST(HttpAccess, MakesNoConnectionForARequestWhoseTimeIsOver) {
    std::atomic<int> connections = 0;
    const ScriptedServer server([&connections](StreamSocket& connection, const std::atomic<bool>&) {
        ++connections;
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
    });
    const auto sut = accessTo(server);
    EXPECT_THROW(sut->get("clamps", "", {}, std::chrono::steady_clock::now()), std::exception);
    sut->get("clamps", "", {});
    EXPECT_EQ(connections, 1);
}

TEST(HttpAccess, SendsNothingOnAKeptConnectionForARequestWhoseTimeIsOver) {
    std::atomic<int> requests = 0;
    const ScriptedServer server([&requests](StreamSocket& connection, const std::atomic<bool>&) {
        while (!ScriptedServer::readRequest(connection).empty()) {
            ++requests;
            ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
        }
    });
    auto sut = accessTo(server);
    sut->get("clamps", "", {});
    EXPECT_THROW(sut->get("clamps", "", {}, std::chrono::steady_clock::now()), std::exception);
    sut->get("clamps", "", {});
    EXPECT_EQ(requests, 2);
    sut.reset();  // ends the connection, which the server waits for
}

TEST(HttpAccess, RefusesAnAnswerOfMoreThanOneMebibyte) {
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>&) {
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\n\r\n");
        const std::string piece(std::size_t{1} << 20U, 'x');
        for (int number = 0; number < 2; ++number) {
            ScriptedServer::send(connection, piece);
        }
    });
    const auto sut = accessTo(server);
    try {
        sut->get("clamps", "", {});
        FAIL() << "not refused";
    } catch (const std::exception& exception) {
        EXPECT_NE(std::string(exception.what()).find("larger than 1 MiB"), std::string::npos)
            << exception.what();
    }
}

TEST(HttpAccess, AsksWithBasePathServiceResourceSeparatorAndEncodedQuery) {
    std::promise<std::string> request;
    const ScriptedServer server([&request](StreamSocket& connection, const std::atomic<bool>&) {
        request.set_value(ScriptedServer::readRequest(connection));
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
    });
    accessTo(server, "/")->get("clamps", "", {{"type", "Clamp15"}, {"$limit", "1"}});
    const std::string line = request.get_future().get();
    EXPECT_EQ(line.substr(0, line.find('\r')),
              "GET /bus/ClampControl/clamps/?type=Clamp15&%24limit=1 HTTP/1.1");
}

TEST(HttpAccess, AsksOnceMoreWhenAKeptConnectionWasClosed) {
    std::atomic<int> connections = 0;
    const ScriptedServer server([&connections](StreamSocket& connection, const std::atomic<bool>&) {
        ++connections;
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
    });
    const auto sut = accessTo(server);
    EXPECT_EQ(sut->get("clamps", "", {}).getStatusCode(), 200);
    EXPECT_EQ(sut->get("clamps", "", {}).getStatusCode(), 200);
    EXPECT_EQ(connections, 2);
}

// ------------------------------------------------------------------ answers that break off on a kept
// connection

struct BrokenAnswer {
    const char* name;
    std::string begin;
    bool isReset;
};

void PrintTo(const BrokenAnswer& answer, std::ostream* stream) {
    *stream << answer.name;
}

class HttpAccessOnAKeptConnection : public testing::TestWithParam<BrokenAnswer> {
 protected:
    // Answers the first request of each connection completely and begins to answer the second.
    void serve(StreamSocket& connection) {
        readRequest(connection);
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
        readRequest(connection);
        ScriptedServer::send(connection, GetParam().begin);
        if (GetParam().isReset) {
            connection.setLinger(true, 0);
            connection.close();
        }
    }

    // Includes the two-byte body that a POST has in these tests.
    void readRequest(StreamSocket& connection) {
        const std::string head = ScriptedServer::readRequest(connection);
        requests += head.empty() ? 0 : 1;
        if (head.rfind("POST", 0) == 0) {
            char body[2] = {};
            connection.receiveBytes(body, sizeof body, MSG_WAITALL);
        }
    }

    std::atomic<int> requests = 0;
    ScriptedServer server{[this](StreamSocket& connection, const std::atomic<bool>&) { serve(connection); }};
    const std::shared_ptr<zeb::ITpAccess> sut = accessTo(server);
};

INSTANTIATE_TEST_SUITE_P(
    BreaksOff, HttpAccessOnAKeptConnection,
    testing::Values(BrokenAnswer{"BeforeTheAnswer", "", false},
                    BrokenAnswer{"BeforeTheAnswerByReset", "", true},
                    BrokenAnswer{"WithinTheStatusLine", "HTTP/1.1 20", false},
                    BrokenAnswer{"WithinTheHeader", "HTTP/1.1 200 OK\r\nContent-Le", false},
                    BrokenAnswer{"BeforeTheBody", "HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n", false},
                    BrokenAnswer{"WithinTheBody", "HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n{", false},
                    BrokenAnswer{"WithinTheStatusLineByReset", "HTTP/1.1 20", true},
                    BrokenAnswer{"WithinTheHeaderByReset", "HTTP/1.1 200 OK\r\nContent-Le", true},
                    BrokenAnswer{"WithinTheBodyByReset", "HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n{",
                                 true}),
    [](const auto& testCase) { return testCase.param.name; });

TEST_P(HttpAccessOnAKeptConnection, EndsAPostInAnErrorAndDoesNotRepeatIt) {
    sut->post("clamps", "1", "{}");
    EXPECT_THROW(sut->post("clamps", "1", "{}"), std::exception);
    EXPECT_EQ(requests, 2);
}

TEST_P(HttpAccessOnAKeptConnection, IsAsGoodAsNewAfterwards) {
    sut->post("clamps", "1", "{}");
    EXPECT_THROW(sut->post("clamps", "1", "{}"), std::exception);
    EXPECT_EQ(sut->get("clamps", "", {}).getStatusCode(), 200);
}

/// How often a server that has read a request and then ends the kept connection gets it.
class HttpSessionOnAKeptConnection : public testing::TestWithParam<bool> {
 protected:
    int timesSent(const std::string& method) {
        int requests = 0;
        {
            const ScriptedServer server(
                [&requests, isFirst = true](StreamSocket& connection, const std::atomic<bool>&) mutable {
                    ScriptedServer::readRequest(connection);
                    ++requests;
                    ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
                    if (std::exchange(isFirst, false)) {
                        ScriptedServer::readRequest(connection);
                        ++requests;
                        connection.setLinger(GetParam(), 0);
                    }
                });
            const auto sut = zebutil::PocoHttpSessionFactory().createSession(
                server.baseUri(), "ClampControl", [](auto) { return std::vector<std::string>{"127.0.0.1"}; });
            const auto deadline = std::chrono::steady_clock::now() + 10s;
            sut->exchange({"GET", "/", {}}, deadline, 1024);
            try {
                sut->exchange({method, "/", {}}, deadline, 1024);
            } catch (const std::exception&) {
                // It was not sent again.
            }
        }
        return requests - 1;
    }
};

INSTANTIATE_TEST_SUITE_P(Ends, HttpSessionOnAKeptConnection, testing::Bool(),
                         [](const auto& isReset) { return isReset.param ? "ByReset" : "Closed"; });

TEST_P(HttpSessionOnAKeptConnection, SendsAGetOnceMore) {
    EXPECT_EQ(timesSent("GET"), 2);
}

TEST_P(HttpSessionOnAKeptConnection, SendsAPutOnceMore) {
    EXPECT_EQ(timesSent("PUT"), 2);
}

TEST_P(HttpSessionOnAKeptConnection, SendsADeleteOnceMore) {
    EXPECT_EQ(timesSent("DELETE"), 2);
}

TEST_P(HttpSessionOnAKeptConnection, NeverSendsAPostTwice) {
    EXPECT_EQ(timesSent("POST"), 1);
}

TEST_P(HttpSessionOnAKeptConnection, NeverSendsAMethodTwiceThatItDoesNotKnow) {
    EXPECT_EQ(timesSent("PATCH"), 1);
}

class HttpAccessOnAConnectionThatEndsLate : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(Ends, HttpAccessOnAConnectionThatEndsLate, testing::Bool(),
                         [](const auto& isReset) { return isReset.param ? "ByReset" : "Closed"; });

TEST_P(HttpAccessOnAConnectionThatEndsLate, AsksNoMore) {
    std::atomic<int> connections = 0;
    const ScriptedServer server([&connections](StreamSocket& connection, const std::atomic<bool>&) {
        ++connections;
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
        ScriptedServer::readRequest(connection);
        std::this_thread::sleep_for(1s);  // this is the fault, not a wait
        connection.setLinger(GetParam(), 0);
    });
    const auto sut = accessTo(server);
    sut->get("clamps", "", {});
    EXPECT_THROW(sut->get("clamps", "", {}), std::exception);
    EXPECT_EQ(connections, 1);
}

TEST(HttpAccess, EndsAGetInAnErrorWhenItsAnswerBreaksOffOnAKeptConnection) {
    std::atomic<int> requests = 0;
    const ScriptedServer server([&requests](StreamSocket& connection, const std::atomic<bool>&) {
        ScriptedServer::readRequest(connection);
        ++requests;
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
        ScriptedServer::readRequest(connection);
        ++requests;
        ScriptedServer::send(connection, "HTTP/1.1 200 OK\r\nContent-Le");
    });
    const auto sut = accessTo(server);
    sut->get("clamps", "", {});
    EXPECT_THROW(sut->get("clamps", "", {}), std::exception);
    EXPECT_EQ(requests, 2);
}

TEST(HttpAccess, SaysWhichRequestFailed) {
    std::shared_ptr<zeb::ITpAccess> sut;
    {
        const ScriptedServer server([](StreamSocket&, const std::atomic<bool>&) {});
        sut = accessTo(server);
    }
    try {
        sut->get("clamps", "", {});
        FAIL() << "a request without a server succeeded";
    } catch (const std::exception& exception) {
        EXPECT_NE(std::string(exception.what()).find("/bus/ClampControl/clamps"), std::string::npos)
            << exception.what();
    }
}

// ---------------------------------------------------------------------------------------- more than an
// answer

const std::string kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}";
const std::string kForgery = "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n{\"a\": 1}";

TEST(HttpAccess, NeverTakesTheRestOfAnAnswerForTheNextOne) {
    std::atomic<int> connections = 0;
    const ScriptedServer server([&connections](StreamSocket& connection, const std::atomic<bool>&) {
        ++connections;
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, kAnswer + kForgery);
        ScriptedServer::readRequest(connection);
    });
    const auto sut = accessTo(server);
    EXPECT_EQ(sut->get("clamps", "", {}).getBody(), "{}");
    EXPECT_EQ(sut->get("clamps", "", {}).getBody(), "{}");
    EXPECT_EQ(connections, 2);
}

TEST(HttpAccess, NeverTakesWhatNobodyAskedForForAnAnswer) {
    std::promise<void> isReceived;
    std::promise<void> isSent;
    std::atomic<bool> isFirst = true;
    const ScriptedServer server([&](StreamSocket& connection, const std::atomic<bool>&) {
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, kAnswer);
        if (isFirst.exchange(false)) {
            isReceived.get_future().wait();
            ScriptedServer::send(connection, kForgery);
            isSent.set_value();
            ScriptedServer::readRequest(connection);
        }
    });
    const auto sut = accessTo(server);
    EXPECT_EQ(sut->get("clamps", "", {}).getBody(), "{}");
    isReceived.set_value();
    isSent.get_future().wait();
    EXPECT_EQ(sut->get("clamps", "", {}).getBody(), "{}");
}

TEST(HttpAccess, SkipsInterimAnswers) {
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>&) {
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, "HTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 103 Early Hints\r\n\r\n");
        ScriptedServer::send(connection, kAnswer);
    });
    EXPECT_EQ(accessTo(server)->get("clamps", "", {}).getStatusCode(), 200);
}

TEST(HttpAccess, KeepsAConnectionOnWhichAllIsWell) {
    std::atomic<int> connections = 0;
    const ScriptedServer server([&connections](StreamSocket& connection, const std::atomic<bool>&) {
        ++connections;
        while (!ScriptedServer::readRequest(connection).empty()) {
            ScriptedServer::send(connection, kAnswer);
        }
    });
    auto sut = accessTo(server);
    for (int request = 0; request < 3; ++request) {
        sut->get("clamps", "", {});
    }
    EXPECT_EQ(connections, 1);
    sut.reset();  // ends the connection, which the server waits for
}

TEST(HttpAccess, FollowsNoRedirect) {
    std::atomic<int> connections = 0;
    const ScriptedServer server([&connections](StreamSocket& connection, const std::atomic<bool>&) {
        ++connections;
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(
            connection, "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n");
    });
    EXPECT_EQ(accessTo(server)->get("clamps", "", {}).getStatusCode(), 302);
    EXPECT_EQ(connections, 1);
}

TEST(HttpAccess, RefusesNamesThatChangeThePath) {
    const ScriptedServer server([](StreamSocket&, const std::atomic<bool>&) {});
    const auto sut = accessTo(server);
    EXPECT_THROW(sut->get("..", "", {}), zeb::ZebException);
    EXPECT_THROW(sut->get("clamps", "..", {}), zeb::ZebException);
    EXPECT_THROW(sut->get("", "", {}), zeb::ZebException);
}

// ---------------------------------------------------------------------------------------- one peer

TEST(HttpAccess, ConnectsToTheAddressOfTheWebSocketUnderTheNameOfTheServer) {
    std::promise<std::string> request;
    const ScriptedServer server([&request](StreamSocket& connection, const std::atomic<bool>&) {
        request.set_value(ScriptedServer::readRequest(connection));
        ScriptedServer::send(connection, kAnswer);
    });
    const std::string port = server.baseUri().substr(server.baseUri().rfind(':'));
    factory()
        .createAccess({"ClampControl", "http://bus.invalid" + port, "/", "", "127.0.0.1"})
        ->get("clamps", "", {});
    EXPECT_NE(request.get_future().get().find("\r\nHost: bus.invalid" + port + "\r\n"), std::string::npos);
}

TEST(HttpAccess, ConnectsToAnIpv6AddressOfTheWebSocket) {
    std::unique_ptr<ScriptedServer> server;
    try {
        server = std::make_unique<ScriptedServer>(
            [](StreamSocket& connection, const std::atomic<bool>&) {
                ScriptedServer::readRequest(connection);
                ScriptedServer::send(connection, kAnswer);
            },
            "::1");
    } catch (const Poco::Exception&) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    const std::string port = server->baseUri().substr(server->baseUri().rfind(':'));
    const auto sut = factory().createAccess({"ClampControl", "http://localhost" + port, "/", "", "::1"});
    EXPECT_EQ(sut->get("clamps", "", {}).getStatusCode(), 200);
}

TEST(HttpAccess, TriesEveryAddressOfAName) {
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>&) {
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, kAnswer);
    });
    // On many machines "localhost" is "::1" first.
    const std::string port = server.baseUri().substr(server.baseUri().rfind(':'));
    const auto sut = factory().createAccess({"ClampControl", "http://localhost" + port, "/", ""});
    EXPECT_EQ(sut->get("clamps", "", {}).getStatusCode(), 200);
}

// ---------------------------------------------------------------------------------------- cancelling

/// A peer with which an exchange gets as far as its name says, and no further. Tells when it is there.
class Standstill {
 public:
    virtual ~Standstill() = default;
    virtual std::string baseUri() const = 0;
    virtual void waitUntilReached() = 0;
};

// A listening socket whose queue is full: nothing answers a further attempt to connect.
class StandstillAtConnect : public Standstill {
 public:
    StandstillAtConnect() {
        listener_.bind(Poco::Net::SocketAddress("127.0.0.1", 0));
        listener_.listen(0);
        filling_.connectNB(listener_.address());
        filling_.poll(Poco::Timespan(20, 0), Poco::Net::Socket::SELECT_WRITE);
    }
    std::string baseUri() const override { return "http://" + listener_.address().toString(); }
    // There is no sign of it. Cancelling earlier must have the same effect.
    void waitUntilReached() override {}

 private:
    Poco::Net::ServerSocket listener_;
    StreamSocket filling_;
};

// Reads the first bytes that the client sends, and then nothing.
class StandstillAfterConnect : public Standstill {
 public:
    explicit StandstillAfterConnect(std::string scheme) : scheme_(std::move(scheme)) {}
    ~StandstillAfterConnect() override { isOver_.set_value(); }
    StandstillAfterConnect(const StandstillAfterConnect&) = delete;
    StandstillAfterConnect& operator=(const StandstillAfterConnect&) = delete;
    std::string baseUri() const override { return scheme_ + server_.baseUri().substr(4); }
    void waitUntilReached() override { isReached_.get_future().wait(); }

 private:
    const std::string scheme_;
    std::promise<void> isReached_;
    std::promise<void> isOver_;
    const ScriptedServer server_{[this](StreamSocket& connection, const std::atomic<bool>&) {
        char byte = 0;
        connection.receiveBytes(&byte, 1);
        isReached_.set_value();
        isOver_.get_future().wait();  // the rest of what the client sends stays where it is
    }};
};

struct Phase {
    const char* name;
    std::function<std::unique_ptr<Standstill>()> make;
    std::size_t bodySize;
};

void PrintTo(const Phase& phase, std::ostream* stream) {
    *stream << phase.name;
}

std::string failureOf(const std::function<void()>& request) {
    try {
        request();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "none";
}

class HttpAccessCancelled : public testing::TestWithParam<Phase> {
 protected:
    const test_support::NoAuthorities noAuthorities;
    const test_support::OpenToSigpipe openToSigpipe;
    const std::unique_ptr<Standstill> server = GetParam().make();
    const std::shared_ptr<zeb::ITpAccess> sut =
        factory().createAccess({"ClampControl", server->baseUri(), "/", ""});
};

INSTANTIATE_TEST_SUITE_P(
    During, HttpAccessCancelled,
    testing::Values(Phase{"Connect", [] { return std::make_unique<StandstillAtConnect>(); }, 0},
                    Phase{"TlsHandshake", [] { return std::make_unique<StandstillAfterConnect>("https"); },
                          0},
                    Phase{"Sending", [] { return std::make_unique<StandstillAfterConnect>("http"); },
                          std::size_t{64} * 1024 * 1024},
                    Phase{"TheAnswer", [] { return std::make_unique<StandstillAfterConnect>("http"); }, 0}),
    [](const auto& testCase) { return testCase.param.name; });

TEST_P(HttpAccessCancelled, EndsAtOnceAndSaysSo) {
    auto failure = std::async(std::launch::async, [this] {
        return failureOf([this] {
            // A time limit that no machine can reach, however busy it is.
            const auto deadline = std::chrono::steady_clock::now() + 1min;
            sut->post("clamps", "1", std::string(GetParam().bodySize, ' '), deadline);
        });
    });
    server->waitUntilReached();
    const auto begin = std::chrono::steady_clock::now();
    sut->cancel();
    EXPECT_NE(failure.get().find("cancelled: "), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
}

TEST_P(HttpAccessCancelled, FailsAtOnceEverAfter) {
    sut->cancel();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_NE(failureOf([this] { sut->get("clamps", "", {}); }).find("cancelled: "), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
}

TEST(HttpAccess, IsCancelledOnAKeptConnectionToo) {
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>&) {
        ScriptedServer::readRequest(connection);
        ScriptedServer::send(connection, kAnswer);
        ScriptedServer::readRequest(connection);
    });
    const auto sut = accessTo(server);
    sut->get("clamps", "", {});
    sut->cancel();
    EXPECT_NE(failureOf([&] { sut->get("clamps", "", {}); }).find("cancelled: "), std::string::npos);
}

// The process would end by SIGPIPE.
TEST(HttpAccess, RaisesNoSignalWhenTheServerHangsUpWhileARequestIsSent) {
    const test_support::OpenToSigpipe openToSigpipe;
    const ScriptedServer server([](StreamSocket& connection, const std::atomic<bool>&) {
        char byte = 0;
        connection.receiveBytes(&byte, 1);
        connection.shutdownSend();  // what has not been read makes the following close a reset
    });
    const auto sut = accessTo(server);
    EXPECT_THROW(sut->post("clamps", "1", std::string(std::size_t{64} * 1024 * 1024, ' ')), std::exception);
}

TEST(HttpAccess, GivesUpInTimeWhenNothingAnswersTheAttemptToConnect) {
    const StandstillAtConnect server;
    const auto sut = factory().createAccess({"ClampControl", server.baseUri(), "/", ""});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_NE(
        failureOf([&] { sut->get("clamps", "", {}); }).find("connect to 127.0.0.1: the time limit is over"),
        std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

}  // namespace
