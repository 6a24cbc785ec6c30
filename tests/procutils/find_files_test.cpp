#include "procutils/find_files.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/file_trees.h"
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace velora::utils::proc {
namespace {

TEST(FindFilesTest, FindsNamesDownToADepth) {
    const TempDir scratch;
    Plant(scratch, "a.x= a.y= q.x! socket.x% d.x/ d.x/b.x= d.x/e/ d.x/e/c= d.x/e/f.x/ l.x>d.x/e");
    const struct {
        std::string pattern;
        int depth;
        std::string names;
    } rows[] = {
        {"\\.x$", 0, "a.x socket.x"},
        {"\\.x$", 1, "a.x d.x d.x/b.x l.x socket.x"},
        {"^[cf]", -1, "d.x/e/c d.x/e/f.x l.x/c l.x/f.x"},
        {"/|velora|^\\.", -1, ""},
    };
    const auto before = OpenDescriptors();
    for (const auto& row : rows) {
        Tree found;
        EXPECT_TRUE(FindFiles(scratch.Path(), row.pattern, row.depth, [&](const std::string& path) {
            EXPECT_TRUE(found.insert(path.substr(scratch.Path().size() + 1)).second);
        }));
        EXPECT_EQ(found, Words(row.names)) << row.pattern;
    }
    std::string calls;  // a directory after its contents, and with a callable of its own
    FindFiles(scratch / "d.x", "[ce]", 1,
              [&, count = 0](const std::string& path) mutable { calls += path.back() + std::to_string(++count); });
    EXPECT_EQ(calls, "c1e1");
    EXPECT_THROW(FindFiles(scratch / "d.x", "c", -1, nullptr), std::bad_function_call);
    EXPECT_FALSE(FindFiles(scratch / "missing", ".", 0, nullptr));
    EXPECT_EQ(OpenDescriptors(), before);
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler theDirectoryStaysOpen;
#endif
    EXPECT_FALSE(FindFiles(scratch.Path(), "(", 0, nullptr));
    EXPECT_EQ(OpenDescriptors(), before + 1);
}

}  // namespace
}  // namespace velora::utils::proc
