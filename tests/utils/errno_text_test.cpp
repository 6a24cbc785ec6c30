#include "utils/errno_text.h"

#include <array>
#include <cerrno>

#include <gtest/gtest.h>

#include "utils/bounded_copy.h"

namespace MiscUtils {
namespace {

TEST(ErrnoTextTest, HoldsTheSystemsTextAndKeepsErrno) {
    errno = EAGAIN;
    const ErrnoText missing(ENOENT);
    EXPECT_EQ(missing.text, "No such file or directory");
    EXPECT_EQ(missing.code, ENOENT);
    EXPECT_EQ(ErrnoText(0).text, "Success");
    EXPECT_EQ(ErrnoText(-5).text, "Unknown error -5");
    EXPECT_EQ(errno, EAGAIN);
}

TEST(ErrnoTextTest, ErrorNamesTheOperationWhenThereIsOne) {
    EXPECT_STREQ(ErrnoError(EACCES, "open()").what(), "Permission denied : open()");
    EXPECT_STREQ(ErrnoError(EACCES).what(), "Permission denied");
}

TEST(BoundedCopyDeathTest, FillsTheBufferToItsLastByteAndNoFurther) {
    std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
    CopyBounded(buffer, "abc", "test");
    EXPECT_STREQ(buffer.data(), "abc");
    EXPECT_EXIT(CopyBounded(buffer, "abcd", "test"), testing::KilledBySignal(SIGABRT),
                "test: text of 4 bytes does not fit into 4");
}

}  // namespace
}  // namespace MiscUtils
