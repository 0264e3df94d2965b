// Counts the work of one call, for check_growth.py to read.
#pragma once

#include <cstddef>
#include <string>

// The shortest text; the others are twice and four times as long.
extern const std::size_t shortestText;

void startCounting();

// What has been done since startCounting() is that of `label`: growth|name|size.
void stopCounting(const std::string &label);
