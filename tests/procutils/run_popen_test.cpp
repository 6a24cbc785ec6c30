#include "procutils/runexe/run_popen.h"

#include <csignal>
#include <exception>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/procutils/process_support.h"
#include "tests/support/scratch_dir.h"

namespace velora::utils::proc {
namespace {

using test_support::KeepsSigchld;
using test_support::OpenDescriptors;
using test_support::ScopedLimit;

TEST(RunPopenTest, GivesTheWaitStatusAndTheOutput) {
    const struct {
        std::string command;
        int status;
        std::string output;
    } rows[] = {
        {"printf hello", 0, "hello"},
        {"printf 'a\\n\\nb\\n'; exit 1", 256, "a\n\nb\n"},
        {"", 0, ""},
        {"kill -KILL $$", SIGKILL, ""},
        {"printf %03000d 7", 0, std::string(2999, '0') + "7"},
        {"printf 'ab\\0cd\\nef\\n'", 0, "abef\n"},
    };
    const auto before = OpenDescriptors();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        std::string output = "old";
        int status = -2;
        EXPECT_TRUE(KeepsSigchld([&] { status = RunPopen(row.command, output); }));
        EXPECT_EQ(status, row.status);
        EXPECT_EQ(output, row.output);
        EXPECT_TRUE(RunPopenOrThrow(row.command));
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(RunPopenTest, APipeThatCannotBeOpened) {
    std::string output = "old";
    int status = 0;
    std::exception_ptr error;
    EXPECT_TRUE(KeepsSigchld([&] {
        const ScopedLimit noDescriptors(RLIMIT_NOFILE, 0);
        status = RunPopen("printf hello", output);
        try {
            RunPopenOrThrow("printf hello");
        } catch (const std::runtime_error&) {
            error = std::current_exception();
        }
    }));
    EXPECT_EQ(status, -1);
    EXPECT_EQ(output, "old");
    ASSERT_TRUE(error);
    try {
        std::rethrow_exception(error);
    } catch (const std::runtime_error& raised) {
        EXPECT_STREQ(raised.what(), "Too many open files : RunPopen fail printf hello stdout=");
    }
}

}  // namespace
}  // namespace velora::utils::proc
