// The command line of the exact mode:
//
//     seamtool --exact [--option ...] [-squish | -squish10] [-r home-dir] [--] input ... -out
//     outfile
//
// Read strictly: a word that begins with "-" and has no place where it stands is a fault, not an
// input.

#pragma once

#include <span>
#include <string>
#include <variant>
#include <vector>

#include "velora/exact/job.h"

struct ExactOptions {
    enum class Wish { kRun, kHelp, kVersion };
    Wish wish = Wish::kRun;  // with another wish than kRun there is no job
    bool isQuiet = false;
    bool showsProgress = false;
    std::string homeDirectory;       // empty: stay
    std::vector<std::string> lists;  // files that name more inputs, "-" for standard input
    std::vector<std::string> words;  // the options, as they stood there
    velora::exact::ExactJob job;     // its inputs are those of the command line
};

// Reads the words behind "--exact". A fault is told in words for the user, without a line end.
[[nodiscard]] std::variant<ExactOptions, std::string> ParseExactOptions(std::span<char*> words);

// What --help prints.
[[nodiscard]] std::string ExactHelp();
