#include "procutils/path_parts.h"

#include <csignal>
#include <string>

#include <gtest/gtest.h>

namespace velora::utils::proc {
namespace {

TEST(PathPartsTest, DividesAPath) {
    const struct {
        std::string path, directory, last;
    } rows[] = {
        {"/usr/lib", "/usr", "lib"}, {"/usr/", "/", "usr"}, {"usr", ".", "usr"}, {"/", "/", "/"},
        {"a/b//", "a", "b"},         {"..", ".", ".."},     {"", ".", "."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(DirName(row.path), row.directory);
        EXPECT_EQ(BaseName(row.path), row.last);
    }
}

TEST(PathPartsDeathTest, ADirectoryPartNeedsAPathOfAtMost1024Bytes) {
    const std::string longest = std::string(1022, 'd') + "/f";
    EXPECT_EQ(DirName(longest), std::string(1022, 'd'));
    EXPECT_EQ(BaseName("d" + longest), "f");
    EXPECT_EXIT(static_cast<void>(DirName("d" + longest)), testing::KilledBySignal(SIGABRT),
                "DirName: text of 1025 bytes does not fit into 1025");
}

}  // namespace
}  // namespace velora::utils::proc
