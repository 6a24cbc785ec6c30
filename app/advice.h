// What a person can do about a problem, with this program and others.

#pragma once

#include <string>

#include "velora/capture/problem.h"

// To be put behind the problem's text: ": 'xz -dc FILE | seamtool --exact - ...' reads it". Empty
// where there is nothing to add.
[[nodiscard]] std::string AdviceFor(const velora::capture::Problem& problem);
