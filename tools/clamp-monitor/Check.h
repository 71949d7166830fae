#pragma once

/// Prints what the library makes of the configuration file, then tries each step to the state of terminal 15
/// and prints which one fails. Returns the exit code.
int check();
