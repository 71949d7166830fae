#pragma once

#include "EventPrinter.h"
#include "Signals.h"

/// Follows terminal 15 and prints the events until a signal ends it. Returns the exit code.
/// @param printsStats whether to print what the library knows of itself at the end
int monitor(EventPrinter::Format format, bool printsStats, const Signals& signals);
