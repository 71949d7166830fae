// The logging facade: the text of a message, a line whose level is off, and a line that is written.

#include <csc_logging/CSCLogEntry.h>
#include <csc_logging/CSCLogging.h>
#include <dlt/dlt.h>
#include <fmt/compile.h>
#include <fmt/format.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "DrainedPipe.h"
#include "OneProcessor.h"
#include "Subject.h"

namespace {

using csc_logging::CSCLogEntry;
using csc_logging::CSCLogging;
using micro::Subject;

/// The values of the four kinds of pieces, hidden from the optimiser, which would compute the text in
/// advance.
struct Pieces {
    std::string service = "ClampControl";
    int milliseconds = 1234;
    long bytes = 9876543210L;
    unsigned char code = 0xA7;
};

void write(CSCLogEntry& entry, const Pieces& pieces) {
    entry << "service " << pieces.service << " answered after " << pieces.milliseconds << " ms with "
          << pieces.bytes << " bytes, code ";
    entry.insertAsHex(pieces.code);
}

void write(std::ostream& stream, const Pieces& pieces) {
    stream << "service " << pieces.service << " answered after " << std::dec << pieces.milliseconds
           << " ms with " << pieces.bytes << " bytes, code 0x" << std::hex << static_cast<int>(pieces.code);
}

std::string byEntry(const Pieces& pieces) {
    CSCLogEntry entry;
    write(entry, pieces);
    return entry.Get();
}

std::string byStream(const Pieces& pieces) {
    std::ostringstream stream;
    write(stream, pieces);
    return stream.str();
}

constexpr char kFormat[] = "service {} answered after {} ms with {} bytes, code {:#x}";

std::string byFmt(const Pieces& pieces) {
    return fmt::format(kFormat, pieces.service, pieces.milliseconds, pieces.bytes, pieces.code);
}

std::string byCompiledFmt(const Pieces& pieces) {
    return fmt::format(FMT_COMPILE("service {} answered after {} ms with {} bytes, code {:#x}"),
                       pieces.service, pieces.milliseconds, pieces.bytes, pieces.code);
}

/// Calls `work` on pieces whose values the compiler does not know.
template <typename Work>
auto onPieces(Work work) {
    return [work](benchmark::State& state) {
        Pieces pieces;
        for (auto _ : state) {
            benchmark::DoNotOptimize(&pieces);
            benchmark::ClobberMemory();
            work(pieces);
        }
    };
}

/// Builds the text of a message from text, an int, a long and a hexadecimal byte, once in a new object and
/// once in a reused one. The rivals: fmt, the usual choice today (the reference), also with a compiled format
/// string; and the standard library's stream.
void addEntries() {
    const Pieces pieces;
    const std::string expected = byEntry(pieces);
    if (byFmt(pieces) != expected || byCompiledFmt(pieces) != expected || byStream(pieces) != expected) {
        throw std::logic_error("the contenders differ");
    }

    const Subject fresh("LogEntry");
    fresh.ours(onPieces([](const Pieces& given) {
        CSCLogEntry entry;
        write(entry, given);
        benchmark::DoNotOptimize(entry.Get().data());
        benchmark::ClobberMemory();
    }));
    const auto made = [](auto make) {
        return onPieces([make](const Pieces& given) {
            const std::string text = make(given);
            benchmark::DoNotOptimize(text.data());
            benchmark::ClobberMemory();
        });
    };
    fresh.reference("fmt", made(byFmt));
    fresh.other("fmt_compiled", made(byCompiledFmt));
    fresh.other("ostringstream", made(byStream));

    const Subject reused("LogEntryReused");
    const auto entry = std::make_shared<CSCLogEntry>();
    reused.ours(onPieces([entry](const Pieces& given) {
        entry->Clear();
        write(*entry, given);
        benchmark::DoNotOptimize(entry->Get().data());
        benchmark::ClobberMemory();
    }));
    const auto text = std::make_shared<std::string>();
    reused.reference("fmt", onPieces([text](const Pieces& given) {
                         text->clear();
                         fmt::format_to(std::back_inserter(*text), kFormat, given.service, given.milliseconds,
                                        given.bytes, given.code);
                         benchmark::DoNotOptimize(text->data());
                         benchmark::ClobberMemory();
                     }));
    const auto stream = std::make_shared<std::ostringstream>();
    reused.other("ostringstream", onPieces([stream](const Pieces& given) {
                     stream->str({});
                     write(*stream, given);
                     const std::string copy = stream->str();
                     benchmark::DoNotOptimize(copy.data());
                     benchmark::ClobberMemory();
                 }));
}

DLT_DECLARE_CONTEXT(directContext)

/// Lines through the facade into DLT, level info. The rivals: libdlt's own macro in the same process, the
/// usual choice for logging to DLT only (the reference); and spdlog, the usual choice without DLT, with a
/// thread-safe logger that writes to a pipe like DLT's, one system call per line.
void addLines(const std::shared_ptr<spdlog::logger>& spdlogLogger) {
    const std::string line(byEntry(Pieces()));
    const auto call = [line](auto log) {
        return [line, log](benchmark::State& state) {
            for (auto _ : state) {
                log(line);
                benchmark::ClobberMemory();
            }
        };
    };

    const Subject disabled("LogLineDisabled");
    disabled.ours(call([](const std::string& text) { CSCLogging::LogDebug(text); }));
    disabled.reference("libdlt", call([](const std::string& text) {
                           DLT_LOG(directContext, DLT_LOG_DEBUG, DLT_UTF8(text.c_str()));
                       }));
    disabled.other("spdlog", call([spdlogLogger](const std::string& text) { spdlogLogger->debug(text); }));

    const Subject enabled("LogLineEnabled");
    enabled.ours(call([](const std::string& text) { CSCLogging::LogInfo(text); }));
    enabled.reference("libdlt", call([](const std::string& text) {
                          DLT_LOG(directContext, DLT_LOG_INFO, DLT_UTF8(text.c_str()));
                      }));
    enabled.other("spdlog", call([spdlogLogger](const std::string& text) { spdlogLogger->info(text); }));
}

/// Whether the line that `log` writes reaches the pipe.
template <typename Log>
bool reaches(const micro::DrainedPipe& pipe, Log log) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    const std::size_t before = pipe.bytesSeen();
    while (pipe.bytesSeen() < before + 100) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        log();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    micro::stayOnOneProcessor();  // with the threads that empty the pipes
    std::string directory = std::filesystem::temp_directory_path() / "micro-logging-XXXXXX";
    if (::mkdtemp(directory.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    int result = 0;
    {
        // libdlt uses the first pipe as that of its daemon, and needs a directory for its own pipes.
        std::filesystem::create_directory(directory + "/dltpipes");
        const micro::DrainedPipe dltPipe(directory + "/dlt");
        const micro::DrainedPipe spdlogPipe(directory + "/spdlog");
        ::setenv("DLT_PIPE_DIR", directory.c_str(), 1);

        CSCLogging::InitLogging("benchmark", csc_logging::kInfo);
        DLT_REGISTER_CONTEXT_LL_TS(directContext, "DIRE", "libdlt itself", DLT_LOG_INFO,
                                   DLT_TRACE_STATUS_OFF);
        const auto spdlogLogger = std::make_shared<spdlog::logger>(
            "spdlog", std::make_shared<spdlog::sinks::basic_file_sink_mt>(directory + "/spdlog"));
        spdlogLogger->set_level(spdlog::level::info);
        spdlogLogger->flush_on(spdlog::level::info);

        if (!reaches(dltPipe, [] { CSCLogging::LogInfo("the facade's line"); }) ||
            !reaches(dltPipe, [] { DLT_LOG(directContext, DLT_LOG_INFO, DLT_UTF8("libdlt's line")); }) ||
            !reaches(spdlogPipe, [&] { spdlogLogger->info("spdlog's line"); })) {
            std::fputs("what is logged does not arrive\n", stderr);
            result = 1;
        } else {
            addEntries();
            addLines(spdlogLogger);
            benchmark::Initialize(&argc, argv);
            if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
                result = 1;
            } else {
                benchmark::RunSpecifiedBenchmarks();
            }
            benchmark::Shutdown();
        }
        DLT_UNREGISTER_CONTEXT(directContext);
    }
    std::filesystem::remove_all(directory);
    return result;
}
