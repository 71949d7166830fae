// mqtt-client: decodes on the network thread of libmosquitto, without passing messages to another thread.

#include <exception>
#include <iostream>

#include "Arrivals.h"
#include "Connection.h"
#include "TextClamp.h"

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments, bench::Arrivals::arguments({{"address", "", true}}));
        bench::Arrivals arrivals(options);
        bench::mqtt::Connection connection(&arrivals);
        mosquitto_connect_callback_set(connection.get(), [](mosquitto* self, void*, int) {
            mosquitto_subscribe(self, nullptr, bench::mqtt::kTopic, 0);
        });
        mosquitto_message_callback_set(
            connection.get(), [](mosquitto*, void* user, const mosquitto_message* message) {
                const auto clamp = bench::TextClamp::decode(static_cast<const char*>(message->payload),
                                                            static_cast<std::size_t>(message->payloadlen));
                auto& noted = *static_cast<bench::Arrivals*>(user);
                if (message->retain) {
                    noted.present();
                } else {
                    noted.arrived(clamp.isSwitchedOn);
                }
            });
        connection.start(static_cast<int>(options.number("address")));
        return arrivals.waitAndTell() ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
