#include "Complaint.h"

#include <iostream>

void complain(const std::string& text) {
    std::cerr << "clamp-monitor: " + text + "\n";
}
