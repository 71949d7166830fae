#include "JsonText.h"

#include <cstdio>
#include <iostream>

namespace bench {

JsonText& JsonText::add(const std::string& name, double number) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", number);
    return addRaw(name, text);
}

JsonText& JsonText::addRaw(const std::string& name, const std::string& value) {
    members_ += (members_.empty() ? "\"" : ",\"") + name + "\":" + value;
    return *this;
}

void tell(const std::string& name, const JsonText& object) {
    std::cout << JsonText().add(name, object).text() << std::endl;
}

}  // namespace bench
