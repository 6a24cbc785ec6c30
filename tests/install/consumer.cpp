// A program of somebody else's, built on the installed library: it merges two captures and lets cmp
// compare the outcome with two files: consumer FIRST SECOND OUTPUT SAME OTHER

#include <cstdio>
#include <string>

#include <unistd.h>

#include "velora/impex/merge_job.h"
#include "velora/impex/time_ordered_merge.h"
#include "velora/logging/logger.h"
#include "velora/procutils/runexe/run_exe.h"

int main(int /*argc*/, char** argv) {
    MergeJob job(argv[3], {argv[1], argv[2]});
    const bool isMerged = Merge(job);
    unlink(VeloLogger::GlobalLogger.FileName().c_str());
    const std::string compare = "cmp " + job.outputPath + " ";
    std::string output;
    const int same = velora::utils::proc::RunExe(compare + argv[4], output);
    const int other = velora::utils::proc::RunExe(compare + argv[5], output);
    std::printf("merged %d, records %d, same %d, other %d\n", isMerged, static_cast<int>(job.packetsWritten), same,
                other);
}
