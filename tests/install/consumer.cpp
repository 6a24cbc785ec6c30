// A program of somebody else's, built on the installed library: it merges two captures and lets a
// program compare the outcome with two files: consumer FIRST SECOND OUTPUT SAME OTHER

#include <cstdio>
#include <string>

#include <unistd.h>

#include "impex/merge_job.h"
#include "impex/time_ordered_merge.h"
#include "logging/logger.h"
#include "procutils/runexe/run_exe.h"

int main(int argc, char** argv) {
    if (argc != 6) {
        return 2;
    }
    MergeJob job(argv[3], {argv[1], argv[2]});
    const bool isMerged = Merge(job);
    unlink(VeloLogger::GlobalLogger.FileName().c_str());

    std::string output;
    const auto compare = [&](const std::string& path) {
        return velora::utils::proc::RunExe("cmp " + job.outputPath + " " + path, output);
    };
    const int same = compare(argv[4]);
    const int other = compare(argv[5]);
    std::printf("merged %d, records %ju, same %d, other %d\n", isMerged,
                static_cast<std::uintmax_t>(job.packetsWritten), same, other);
    return 0;
}
