#include "utils/scope_guards.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/support/scratch_dir.h"

namespace MiscUtils {
namespace {

TEST(ScopeGuardsTest, GiveBackWhatTheyHoldAndKeepErrno) {
    const std::ptrdiff_t openBefore = test_support::OpenDescriptors();
    {
        UniqueFd first(open("/", O_RDONLY));
        UniqueFd second(std::move(first));
        UniqueFd third(open("/", O_RDONLY));
        const UniqueFile file(std::fopen("/dev/null", "r"));
        const UniqueDir directory(opendir("/"));
        EXPECT_EQ(test_support::OpenDescriptors(), openBefore + 4);
        third = std::move(second);
        EXPECT_EQ(test_support::OpenDescriptors(), openBefore + 3);
    }
    EXPECT_EQ(test_support::OpenDescriptors(), openBefore);

    const int closedAlready = dup(0);
    close(closedAlready);
    errno = EAGAIN;
    { const UniqueFd failsToClose(closedAlready); }
    EXPECT_EQ(errno, EAGAIN);
}

TEST(ScopeGuardsTest, UmaskIsPutBack) {
    const ScopedUmask outer(027);
    { const ScopedUmask inner(011); }
    EXPECT_EQ(umask(027), 027U);
}

}  // namespace
}  // namespace MiscUtils
