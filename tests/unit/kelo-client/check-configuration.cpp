// Prints what the library says about configuration files, for tests in other languages: for each file, a line
// for each finding, which is severity, path and text with tabs between them; then an empty line.
#include <kelo-client/ConfigurationCheck.h>

#include <iostream>

int main(int count, char** arguments) {
    for (int index = 1; index < count; ++index) {
        for (const auto& finding : kelo_client::checkConfiguration(arguments[index]).findings) {
            std::cout << static_cast<int>(finding.severity) << '\t' << finding.path << '\t' << finding.text
                      << '\n';
        }
        std::cout << '\n';
    }
}
