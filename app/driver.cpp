#include "app/driver.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>

#include "app/version.h"
#include "velora/impex/merge_job.h"
#include "velora/impex/squish.h"
#include "velora/impex/time_ordered_merge.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/path_tests.h"

namespace {

// Padded to 81 characters: scripts cut the usage text by columns.
constexpr std::string_view kBanner =
    "seamtool - merges and squishes packet captures into one classic capture file     ";
static_assert(kBanner.size() == 81);

constexpr int kSquishFactor = 0;
constexpr int kSquish10Factor = 10;

std::int32_t PrintUsage() {
    std::cerr << kBanner << std::endl;
    std::cerr
        << "Usage : seamtool [-squish|-squish10]  -r home-dir f1 f2 f3 f4 f5 ..  -out outfile "
        << std::endl;
    return RunStatus::kUsage;
}

std::vector<std::string> AcceptInputs(char** first, char** last) {
    std::vector<std::string> accepted;
    for (char** argument = first; argument < last; ++argument) {
        if (MiscUtils::IsRegularFile(*argument)) {
            accepted.emplace_back(*argument);
        } else {
            std::cerr << "Ignoring invalid or unreadable file " << *argument << std::endl;
        }
    }
    return accepted;
}

std::int32_t Report(bool succeeded, std::string_view failure, const MergeJob& job) {
    if (succeeded) {
        return RunStatus::kSuccess;
    }
    std::cerr << failure << job.outputPath << std::endl;
    return RunStatus::kFailed;
}

// The squish flag is looked at first: "-squish -squish10" makes no copies.
std::int32_t RunAlgorithm(bool squish, bool squish10, MergeJob& job) {
    if (squish) {
        return Report(Squish(job, kSquishFactor), "Failed to squish files into ", job);
    }
    if (squish10) {
        return Report(Squish(job, kSquish10Factor), "Failed to squish x10   files into ", job);
    }
    return Report(Merge(job), "Failed to merge files into ", job);
}

}  // namespace

std::int32_t RunDriver(int argc, char** argv) {
    const auto argument = [argv](int position) { return std::string_view(argv[position]); };
    if (argc < 2) {
        return PrintUsage();
    }
    if (argument(1) == "--version") {
        std::printf("%s\n", kVersion);
        return RunStatus::kSuccess;
    }
    if (argc < 4) {
        return PrintUsage();
    }

    const bool squish = argument(1) == "-squish";
    const bool squish10 = argument(squish ? 2 : 1) == "-squish10";
    if ((squish || squish10) && argc == 4) {
        return PrintUsage();
    }
    int index = 1 + (squish ? 1 : 0) + (squish10 ? 1 : 0);

    if (argument(index) == "-r") {
        if (argc < 6) {
            return PrintUsage();
        }
        if (chdir(argv[index + 1]) == -1) {
            const int error = errno;
            // Always the second argument, which behind a mode flag is the "-r" itself.
            std::cerr << "Error changing directory to " << argv[2]
                      << " e: " << MiscUtils::ErrnoText(error).text << std::endl;
            return RunStatus::kUsage;
        }
        index += 2;
    }

    if (argument(argc - 2) != "-out") {
        return PrintUsage();
    }
    std::vector<std::string> inputs = AcceptInputs(argv + index, argv + argc - 2);
    const std::string outputPath = argv[argc - 1];
    if (MiscUtils::IsRegularFile(outputPath)) {
        std::cerr << "Output file already exists, wont overwrite " << outputPath << std::endl;
        return RunStatus::kOutputExists;
    }
    MergeJob job(outputPath, std::move(inputs));
    return RunAlgorithm(squish, squish10, job);
}
