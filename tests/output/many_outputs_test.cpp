// Any number of outputs at once, where a file cannot do without a name while it is written.

#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "velora/output/output_file.h"

extern "C" int ArmFault(const char* plan);

namespace velora::output {
namespace {

constexpr std::size_t kMany = 100;

std::size_t NamesIn(const TempDir& directory) {
    const std::filesystem::directory_iterator names(directory.Path());
    return static_cast<std::size_t>(std::distance(begin(names), end(names)));
}

TEST(ManyOutputsTest, AppearOrAreRemovedAsASingleOneIs) {
    for (const bool isSignalled : {false, true}) {
        const TempDir directory;
        std::vector<OutputFile> outputs(kMany);
        for (std::size_t number = 0; number < kMany; ++number) {
            ArmFault("openat 1");  // that of a file without a name
            const codec::OutputOutcome outcome = outputs[number].Prepare(directory / std::to_string(number));
            ASSERT_TRUE(outcome.IsGood()) << number << ": " << outcome.text;
            ArmFault(nullptr);
        }
        EXPECT_EQ(NamesIn(directory), kMany) << "temporary ones";
        if (isSignalled) {
            OutputFile::RemoveUnfinished();
            EXPECT_EQ(NamesIn(directory), 0U);
            continue;
        }
        for (std::size_t number = 0; number < kMany; number += 2) {
            EXPECT_TRUE(outputs[number].Open().IsGood() && outputs[number].Finish().IsGood());
        }
        std::vector<OutputFile>().swap(outputs);
        EXPECT_EQ(NamesIn(directory), kMany / 2);
        EXPECT_TRUE(std::filesystem::exists(directory / "98"));
    }
}

}  // namespace
}  // namespace velora::output
