#pragma once

// What the application observes for each fault at each moment. FaultMatrixTest.cpp generates its tests from
// this table, and fault-page writes docs/faults.md from it.

#include <array>

namespace e2e {

enum class Moment { BeforeConnect, Handshake, Idle, FindFirst, FirstNotification, Stream, Unsubscribe, Stop };

struct MomentText {
    Moment moment;
    const char* name;   ///< in the name of the test
    const char* title;  ///< on the page
};

constexpr std::array<MomentText, 8> kMoments{{
    {Moment::BeforeConnect, "BeforeConnect", "before it connects"},
    {Moment::Handshake, "DuringTheHandshake", "during the handshake"},
    {Moment::Idle, "ConnectedAndIdle", "connected and idle"},
    {Moment::FindFirst, "DuringFindFirst", "while it looks for the clamp"},
    {Moment::FirstNotification, "BeforeTheFirstNotification", "before the first notification"},
    {Moment::Stream, "InTheMiddleOfAStream", "in the middle of a stream"},
    {Moment::Unsubscribe, "DuringUnsubscribe", "during unsubscribe"},
    {Moment::Stop, "DuringStop", "during Stop"},
}};

enum class Outcome {
    None,                    ///< not tested; the row says why
    Waits,                   ///< no callback; connected once the fault is gone
    GoesOn,                  ///< nothing is lost except, at most, time
    Disconnected,            ///< "disconnected" is reported; connected once the fault is gone
    Refused,                 ///< the subscribe call returns an empty uuid; the connection stays
    RefusedAndDisconnected,  ///< both
    OneLost,                 ///< one value is missing, with an error in the log; the others are reported
    Ended,                   ///< no more values until the next subscribe call, with an error in the log
    Returns,                 ///< the call returns, and no callback follows
};

struct OutcomeText {
    Outcome outcome;
    const char* shortText;
    const char* text;
};

constexpr std::array<OutcomeText, 9> kOutcomes{{
    {Outcome::None, "-", "Not tested at this moment; the last column says why."},
    {Outcome::Waits, "waits",
     "No callback. The library keeps trying, with growing pauses, and calls "
     "`OnConnectionStateChanged(true)` at most this long after the fault is gone."},
    {Outcome::GoesOn, "goes on",
     "No effect of the fault: every value is reported once and in order, and a call succeeds, within "
     "this time."},
    {Outcome::Disconnected, "disconnected",
     "`OnConnectionStateChanged(false)` within this time; the subscription has ended. Once the fault is "
     "gone, `OnConnectionStateChanged(true)` is called, and the application subscribes again."},
    {Outcome::Refused, "refused",
     "`SubscribeClampControl()` returns an empty uuid within this time, and the log has the reason. The "
     "connection stays open, and the call can be repeated."},
    {Outcome::RefusedAndDisconnected, "refused, disconnected",
     "`SubscribeClampControl()` returns an empty uuid within this time, and "
     "`OnConnectionStateChanged(false)` is called; then as for \"disconnected\"."},
    {Outcome::OneLost, "one lost",
     "The value that the server omitted is not reported, and an error is logged; all other values are "
     "reported."},
    {Outcome::Ended, "ended",
     "No more values are reported, and an error is logged within this time; the connection stays open. "
     "The application can subscribe again."},
    {Outcome::Returns, "returns", "The call returns within this time, and no callback follows."},
}};

enum class Fault {
    Refused,
    Silent,
    Reset,
    ResetWithinFrame,
    EndOfStream,
    Stalled,
    PeerStopped,
    PacketsDropped,
    SlowBytes,
    CloseWithCode,
    HttpStatus,
    HttpStatusWithBody,
    WrongContentType,
    WrongContent,
    TruncatedBody,
    OversizedBody,
    GarbageFrame,
    NoUtf8,
    OversizedMessage,
    Fragments,
    UnknownSubscription,
    RepeatedMessages,
    RepeatedSubscriptionId,
    Gap,
    ElementDeleted,
    ClockSet,
    TwoAddresses,
    SilentNameServer,
    NoDescriptors,
    NoThreads,
    TrustStoreAway,
    RegistryFlaps,
};

/// What the application observes, and within how many milliseconds. The watchdog of these tests pings every
/// 100 ms, so a silent peer counts as lost after 300 ms.
struct Cell {
    Outcome outcome = Outcome::None;
    int within = 0;
};

struct FaultRow {
    Fault fault;
    int code;           ///< the HTTP status or close code, or 0
    const char* name;   ///< in the name of the test
    const char* title;  ///< on the page
    std::array<Cell, kMoments.size()> cells;
    const char* reason;  ///< why some cells are empty
};

namespace cells {

constexpr int kAtOnce = 100;
constexpr int kPongTimeOut = 300;
constexpr int kPause = 5000;         // the longest pause between two attempts
constexpr int kConnectLimit = 5000;  // of one attempt
constexpr int kFirstLimit = 5000;    // for the first notification
constexpr int kNameLimit = 10'000;   // of the resolver of the C library, with its own defaults

constexpr Cell kNone{};
constexpr Cell waits(int within = kPause) {
    return {Outcome::Waits, within};
}
constexpr Cell goesOn(int within = kAtOnce) {
    return {Outcome::GoesOn, within};
}
constexpr Cell lost(int within = kAtOnce) {
    return {Outcome::Disconnected, within};
}
constexpr Cell refused(int within = kAtOnce) {
    return {Outcome::Refused, within};
}
constexpr Cell refusedAndLost(int within = kAtOnce) {
    return {Outcome::RefusedAndDisconnected, within};
}
constexpr Cell returns(int within = kAtOnce) {
    return {Outcome::Returns, within};
}
constexpr Cell ended(int within = kAtOnce) {
    return {Outcome::Ended, within};
}

constexpr const char* kNoConnection = "Nothing is connected yet.";
constexpr const char* kNoWebsocket = "No WebSocket is open yet.";
constexpr const char* kNoWebsocketOrAsGarbage =
    "No WebSocket is open yet. While it looks for the clamp: as for bytes that are not a WebSocket frame.";
constexpr const char* kNoWebsocketOrHttp =
    "No WebSocket is open yet. The look-up of the clamp uses HTTP only.";
constexpr const char* kNoAnswer = "No HTTP answer is expected then.";

constexpr FaultRow closeCode(int code, const char* name, const char* title) {
    return {Fault::CloseWithCode,
            code,
            name,
            title,
            {kNone, kNone, lost(), kNone, kNone, kNone, kNone, kNone},
            "As for code 1001: the code is logged and has no other effect."};
}
constexpr FaultRow httpStatus(Fault fault, int status, const char* name, const char* title) {
    return {fault,    status, name, title, {waits(), waits(), kNone, refused(), kNone, kNone, kNone, kNone},
            kNoAnswer};
}

}  // namespace cells

// clang-format off
inline const FaultRow kFaults[] = {
    //                                                                 before connect, handshake, idle, find-first,
    //                                                                 first notification, stream, unsubscribe, Stop
    {Fault::Refused, 0, "Refused", "Nothing listens any more: connections are refused",
        {cells::waits(), cells::waits(), cells::lost(), cells::refusedAndLost(),
         cells::refusedAndLost(), cells::lost(), cells::lost(), cells::returns()}, ""},
    {Fault::Silent, 0, "Silent", "Connections are accepted but stay silent, and never recover",
        {cells::waits(cells::kConnectLimit + cells::kPause), cells::waits(cells::kConnectLimit + cells::kPause),
         cells::lost(cells::kPongTimeOut), cells::refusedAndLost(cells::kPongTimeOut), cells::refusedAndLost(cells::kPongTimeOut),
         cells::lost(cells::kPongTimeOut), cells::lost(cells::kPongTimeOut), cells::returns()}, ""},
    {Fault::Reset, 0, "Reset", "All connections are reset",
        {cells::kNone, cells::waits(), cells::lost(), cells::refusedAndLost(),
         cells::refusedAndLost(), cells::lost(), cells::lost(), cells::returns()}, cells::kNoConnection},
    {Fault::ResetWithinFrame, 0, "ResetWithinAFrame", "The connection is reset in the middle of a frame",
        {cells::kNone, cells::kNone, cells::kNone, cells::kNone, cells::refusedAndLost(), cells::lost(), cells::lost(),
         cells::kNone}, "The server sends no text frame then."},
    {Fault::EndOfStream, 0, "EndWithoutClose", "All connections end without a close frame",
        {cells::kNone, cells::waits(), cells::lost(), cells::refusedAndLost(),
         cells::refusedAndLost(), cells::lost(), cells::lost(), cells::returns()}, cells::kNoConnection},
    {Fault::Stalled, 0, "Stalled", "The network stalls and recovers later",
        {cells::waits(cells::kConnectLimit + cells::kPause), cells::waits(cells::kConnectLimit + cells::kPause),
         cells::lost(cells::kPongTimeOut), cells::refusedAndLost(cells::kPongTimeOut), cells::refusedAndLost(cells::kPongTimeOut),
         cells::lost(cells::kPongTimeOut), cells::lost(cells::kPongTimeOut), cells::returns()}, ""},
    {Fault::PeerStopped, 0, "ServerStopped", "The server's process is stopped (SIGSTOP): half-open",
        {cells::waits(cells::kConnectLimit + cells::kPause), cells::kNone, cells::lost(cells::kPongTimeOut),
         cells::refusedAndLost(cells::kPongTimeOut), cells::kNone, cells::lost(cells::kPongTimeOut),
         cells::lost(cells::kPongTimeOut), cells::returns()},
        "As for connections that stay silent: a process cannot be stopped at exactly this moment."},
    {Fault::PacketsDropped, 0, "PacketsDropped", "Every packet between two network namespaces is lost: half-open",
        {cells::waits(cells::kConnectLimit + cells::kPause), cells::kNone, cells::lost(cells::kPongTimeOut),
         cells::refusedAndLost(cells::kPongTimeOut), cells::kNone, cells::lost(cells::kPongTimeOut),
         cells::lost(cells::kPongTimeOut), cells::returns()},
        "As for connections that stay silent: a cable cannot be cut at exactly this moment."},
    {Fault::SlowBytes, 0, "SlowBytes", "The server's data arrives at one byte per 10 ms",
        {cells::goesOn(cells::kConnectLimit), cells::goesOn(cells::kConnectLimit), cells::goesOn(),
         cells::goesOn(10'000), cells::goesOn(cells::kFirstLimit), cells::goesOn(10'000), cells::goesOn(),
         cells::returns()}, ""},
    {Fault::CloseWithCode, 1001, "Close1001", "The WebSocket is closed with code 1001 (going away)",
        {cells::kNone, cells::kNone, cells::lost(), cells::refusedAndLost(), cells::refusedAndLost(), cells::lost(),
         cells::lost(), cells::returns()}, cells::kNoWebsocket},
    cells::closeCode(1000, "Close1000", "Code 1000 (normal)"),
    cells::closeCode(1002, "Close1002", "Code 1002 (protocol error)"),
    cells::closeCode(1003, "Close1003", "Code 1003 (unknown data)"),
    cells::closeCode(1007, "Close1007", "Code 1007 (bad payload)"),
    cells::closeCode(1008, "Close1008", "Code 1008 (policy)"),
    cells::closeCode(1009, "Close1009", "Code 1009 (too big)"),
    cells::closeCode(1011, "Close1011", "Code 1011 (the server failed)"),
    cells::closeCode(1012, "Close1012", "Code 1012 (service restart)"),
    cells::closeCode(1013, "Close1013", "Code 1013 (try again later)"),
    cells::closeCode(3000, "Close3000", "Code 3000 (registered)"),
    cells::closeCode(4999, "Close4999", "Code 4999 (private)"),
    cells::httpStatus(Fault::HttpStatus, 401, "Http401", "HTTP 401 without a body"),
    cells::httpStatus(Fault::HttpStatus, 404, "Http404", "HTTP 404 without a body"),
    cells::httpStatus(Fault::HttpStatus, 500, "Http500", "HTTP 500 without a body"),
    cells::httpStatus(Fault::HttpStatus, 503, "Http503", "HTTP 503 without a body"),
    cells::httpStatus(Fault::HttpStatusWithBody, 401, "Http401WithBody", "HTTP 401 with a body"),
    cells::httpStatus(Fault::HttpStatusWithBody, 404, "Http404WithBody", "HTTP 404 with a body"),
    cells::httpStatus(Fault::HttpStatusWithBody, 500, "Http500WithBody", "HTTP 500 with a body"),
    cells::httpStatus(Fault::HttpStatusWithBody, 503, "Http503WithBody", "HTTP 503 with a body"),
    {Fault::WrongContentType, 0, "WrongContentType", "The correct body, but with the content type text/html",
        {cells::kNone, cells::kNone, cells::kNone, cells::goesOn(), cells::kNone, cells::kNone, cells::kNone, cells::kNone},
        "No HTTP answer with a body is expected then."},
    {Fault::WrongContent, 0, "WrongContent", "Status 200 with an HTML page",
        {cells::waits(), cells::waits(), cells::kNone, cells::refused(), cells::kNone, cells::kNone, cells::kNone,
         cells::kNone}, cells::kNoAnswer},
    {Fault::TruncatedBody, 0, "TruncatedAnswer", "The answer ends in the middle of its data",
        {cells::waits(), cells::waits(), cells::kNone, cells::refused(), cells::kNone, cells::kNone, cells::kNone,
         cells::kNone}, cells::kNoAnswer},
    {Fault::OversizedBody, 0, "OversizedAnswer", "An answer with a body of more than 1 MiB; to the upgrade, a header of more than 8 KiB",
        {cells::waits(), cells::waits(), cells::kNone, cells::refused(), cells::kNone, cells::kNone,
         cells::kNone, cells::kNone}, cells::kNoAnswer},
    {Fault::GarbageFrame, 0, "GarbageFrame", "Bytes that are not a WebSocket frame",
        {cells::kNone, cells::waits(), cells::lost(1000), cells::refusedAndLost(1000), cells::refusedAndLost(1000),
         cells::lost(1000),
         cells::lost(1000), cells::returns()}, cells::kNoWebsocket},
    {Fault::NoUtf8, 0, "NoUtf8", "A text message that is not UTF-8",
        {cells::kNone, cells::kNone, cells::lost(1000), cells::kNone, cells::refusedAndLost(1000), cells::lost(1000),
         cells::lost(1000), cells::returns()}, cells::kNoWebsocketOrAsGarbage},
    {Fault::OversizedMessage, 0, "OversizedMessage", "A message whose announced length is 2 GiB",
        {cells::kNone, cells::kNone, cells::lost(1000), cells::kNone, cells::refusedAndLost(1000), cells::lost(1000),
         cells::lost(1000), cells::returns()}, cells::kNoWebsocketOrAsGarbage},
    {Fault::Fragments, 0, "Fragments", "Every message arrives in small fragments, with pings between them",
        {cells::kNone, cells::kNone, cells::goesOn(), cells::kNone, cells::goesOn(), cells::goesOn(), cells::goesOn(),
         cells::returns()}, cells::kNoWebsocketOrHttp},
    {Fault::UnknownSubscription, 0, "UnknownSubscription", "A notification for a subscription that does not exist",
        {cells::kNone, cells::kNone, cells::goesOn(), cells::kNone, cells::goesOn(), cells::goesOn(), cells::goesOn(),
         cells::returns()}, cells::kNoWebsocketOrHttp},
    {Fault::RepeatedMessages, 0, "RepeatedMessages", "Every message of the server arrives twice",
        {cells::kNone, cells::kNone, cells::kNone, cells::kNone, cells::goesOn(), cells::goesOn(), cells::goesOn(),
         cells::returns()}, "The server sends no message then."},
    {Fault::RepeatedSubscriptionId, 0, "RepeatedSubscriptionId",
        "The server gives a second subscription the id of the first, which is still open",
        {cells::kNone, cells::kNone, cells::kNone, cells::kNone, cells::refusedAndLost(), cells::kNone, cells::kNone,
         cells::kNone}, "The server assigns an id only at this moment."},
    {Fault::Gap, 0, "Gap", "The server omits a notification: a gap in \"seq\"",
        {cells::kNone, cells::kNone, cells::kNone, cells::kNone, cells::kNone, Cell{Outcome::OneLost, 0}, cells::kNone,
         cells::kNone}, "Only a stream has a sequence of notifications."},
    {Fault::ElementDeleted, 0, "ElementDeleted", "The clamp is removed from the bus and added again later",
        {cells::goesOn(), cells::goesOn(), cells::goesOn(), cells::refused(), cells::refused(cells::kFirstLimit),
         cells::ended(), cells::goesOn(), cells::returns()}, ""},
    {Fault::ClockSet, 0, "ClockSet", "The system clock is repeatedly set forward and back by an hour",
        {cells::goesOn(), cells::goesOn(), cells::goesOn(), cells::kNone, cells::goesOn(), cells::goesOn(),
         cells::goesOn(), cells::returns()},
        "The look-up waits until a time of day. If the clock is set forward, the call may be refused at once and can "
        "be repeated. If the clock is set back, the call does not take longer, because the platform answers within "
        "4.5 s by a clock that cannot be set."},
    {Fault::TwoAddresses, 0, "TwoAddresses", "The server's name has two addresses, and it listens at one of them only",
        {cells::goesOn(), cells::kNone, cells::kNone, cells::kNone, cells::kNone, cells::kNone, cells::kNone,
         cells::kNone}, "The address is chosen once per connection, for WebSocket and HTTP alike."},
    {Fault::SilentNameServer, 0, "SilentNameServer", "The name server does not answer",
        {cells::waits(cells::kNameLimit + cells::kPause), cells::kNone, cells::kNone, cells::kNone, cells::kNone,
         cells::kNone, cells::kNone, cells::returns()}, "Names are looked up only before connecting."},
    {Fault::NoDescriptors, 0, "NoDescriptors", "The process has no more file descriptors",
        {cells::waits(), cells::kNone, cells::lost(cells::kPongTimeOut), cells::refused(), cells::kNone, cells::kNone,
         cells::kNone, cells::kNone}, "No new descriptor is needed then. When idle, the connection is lost as well."},
    {Fault::NoThreads, 0, "NoThreads", "No thread can be created",
        {cells::waits(), cells::kNone, cells::lost(), cells::kNone, cells::kNone, cells::kNone, cells::kNone,
         cells::kNone}, "No new thread is needed then. When idle, the connection is lost as well."},
    {Fault::TrustStoreAway, 0, "TrustStoreAway", "Over TLS: the file of trusted certificates does not exist",
        {cells::waits(), cells::kNone, cells::goesOn(), cells::refused(), cells::goesOn(), cells::goesOn(),
         cells::goesOn(), cells::returns()}, "It is read before connecting."},
    {Fault::RegistryFlaps, 0, "RegistryFlaps", "The service leaves the registry and returns, again and again",
        {cells::kNone, cells::kNone, cells::lost(), cells::kNone, cells::kNone, cells::kNone, cells::kNone,
         cells::returns()}, "It may connect in between. The other moments are as for a lost connection."},
};
// clang-format on

}  // namespace e2e
