// grpc-client: reads and decodes the stream on one separate thread.

#include <clamp.grpc.pb.h>
#include <grpcpp/grpcpp.h>
#include <pthread.h>

#include <exception>
#include <iostream>
#include <string>
#include <thread>

#include "Arrivals.h"
#include "ElementText.h"

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments, bench::Arrivals::arguments({{"address", "", true}}));
        bench::Arrivals arrivals(options);
        const auto stub = bench::grpc::ClampControl::NewStub(
            grpc::CreateChannel("127.0.0.1:" + options.text("address"), grpc::InsecureChannelCredentials()));
        grpc::ClientContext context;
        bench::grpc::Subscription subscription;
        subscription.set_uri(bench::elementUri(1));
        const auto stream = stub->Subscribe(&context, subscription);
        std::thread reader([&] {
            bench::grpc::Clamp clamp;
            stream->Read(&clamp);
            arrivals.present();
            while (stream->Read(&clamp)) {
                arrivals.arrived(clamp.is_switched_on());
            }
        });
        pthread_setname_np(reader.native_handle(), "reader");
        const bool isRight = arrivals.waitAndTell();
        context.TryCancel();
        reader.join();
        return isRight ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
