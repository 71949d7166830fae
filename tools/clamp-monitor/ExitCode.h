#pragma once

constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kUsage = 2;
