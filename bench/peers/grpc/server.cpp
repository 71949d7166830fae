// grpc-server: server streaming with the synchronous interface, which is enough for one stream and one writer
// and passes nothing between threads.

#include <clamp.grpc.pb.h>
#include <grpcpp/grpcpp.h>

#include <exception>
#include <future>
#include <iostream>
#include <string>

#include "Departures.h"
#include "ElementText.h"

namespace {

bench::grpc::Clamp clamp(bool isSwitchedOn, std::size_t size) {
    bench::grpc::Clamp result;
    result.set_id("1");
    result.set_name(bench::elementName(1, size));
    result.set_uri(bench::elementUri(1));
    result.set_is_switched_on(isSwitchedOn);
    result.set_type(bench::grpc::Clamp::CLAMP_15);
    return result;
}

class Service final : public bench::grpc::ClampControl::Service {
 public:
    explicit Service(bench::Departures& departures) : departures_(departures) {}

    /// Serves one client. The call lasts until everything is sent and the standard input has ended.
    grpc::Status Subscribe(grpc::ServerContext*, const bench::grpc::Subscription*,
                           grpc::ServerWriter<bench::grpc::Clamp>* writer) override {
        const bench::grpc::Clamp on = clamp(true, departures_.size());
        const bench::grpc::Clamp off = clamp(false, departures_.size());
        writer->Write(off);
        grpc::WriteOptions options;
        const bool isFlood = departures_.rate() == 0;
        departures_.run([&](std::int64_t number) {
            // In a flood, messages may share a packet, but the last one must not wait for another.
            if (isFlood && number + 1 < departures_.count()) {
                options.set_buffer_hint();
            } else {
                options.clear_buffer_hint();
            }
            writer->Write(bench::Departures::isSwitchedOn(number) ? on : off, options);
        });
        ended.set_value();
        return grpc::Status::OK;
    }

    std::promise<void> ended;

 private:
    bench::Departures& departures_;
};

}  // namespace

int main(int count, char** arguments) {
    try {
        bench::Departures departures(bench::Arguments(count, arguments, bench::Departures::arguments({})));
        Service service(departures);
        int port = 0;
        grpc::ServerBuilder builder;
        builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
        builder.RegisterService(&service);
        const auto server = builder.BuildAndStart();
        bench::tell("ready", bench::JsonText().add("address", std::to_string(port)));
        service.ended.get_future().wait();
        server->Shutdown();
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
