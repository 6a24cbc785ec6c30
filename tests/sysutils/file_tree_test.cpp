#include "velora/utils/file_tree.h"

#include <future>
#include <map>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include "tests/support/file_trees.h"
#include "tests/support/limits.h"
#include "velora/procutils/scoped_cwd.h"
#include "velora/procutils/str_tokenizer.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/text_edit.h"

namespace MiscUtils {
namespace {

namespace fs = std::filesystem;
using velora::utils::proc::ScopedCWD, velora::utils::proc::StrTokenizer;

// What Plant would make the working directory from; links to directories are entered.
Tree Planted() {
    Tree words;
    constexpr auto kFollow = fs::directory_options::follow_directory_symlink;
    for (const auto& entry : fs::recursive_directory_iterator(".", kFollow)) {
        const std::string name = entry.path().string().substr(2);
        words.insert(entry.is_symlink()     ? name + ">" + fs::read_symlink(entry).string()
                     : entry.is_directory() ? name + "/"
                     : entry.is_fifo()      ? name + "!"
                                            : name + "=" + TempDir::ReadPath(name));
    }
    return words;
}

// Columns: what the row is about, the call, its source and target, the tree before and after it, the announced files,
// the error. "@" is the canonical path of the working directory; far/ lies on another file system.
constexpr const char* kCalls = R"(
file onto file|Move|s|t|s=1 t=234|t=1||no error
link to a file|Move|s|t|f=1 s>f|f=1 t>f||no error
file far away|Move|s|far/t|s=1|s=1||rename() failed for s=s t= far/t err=18 c=Invalid cross-device link
tree|Move|s|t|s/ s/a=1 s/d/ s/d/b=2 s/d/e/|t/ t/a=1 t/d/ t/d/b=2 t/d/e/|@/t/a @/t/d/b|no error
tree onto file|Move|s|t|s/ t=1|s/ t=1||Unable to mkdir or check dest dir @/t errno = 17=File exists
pipe below|Move|s|t|s/ s/a=1 s/p!|s/ s/p! t/ t/a=1|@/t/a|MoveDir: Unable to rmdir() s errno = 39=Directory not empty
into itself|Move|s|s/t|s/ s/a=1|s/ s/a=1 s/t/||Unable to mkdir or check dest dir @/s/t errno = 22=Invalid argument
merge|MoveDir|s|t|s/ s/d/ s/d/b=2 t/ t/d/ t/d/b=0 t/d/c=3|t/ t/d/ t/d/b=2 t/d/c=3|@/t/d/b|no error
no target|MoveDir|s|t|s/|s/||realpath() cannot convert to canonical: t errno = 2=No such file or directory
no place|CopyFile|s|n/t|s=1|s=1||CopyFile failed for =s t= n/t err=2 c=No such file or directory
link in a tree|CopyFile|s|t|f=1 s/ s/d/ s/d/b>../../f|f=1 s/ s/d/ s/d/b>../../f t/ t/d/ t/d/b=1|@/t/d/b|no error
no source|CopyDir|s|t||||Unable to open source dir s errno = 2=No such file or directory
a name that starts alike|CopyDir|s|st|s/ s/.a=1|s/ s/.a=1 st/ st/.a=1|@/st/.a|no error
link to a file|Delete|s||f=1 s>f|f=1||no error
tree|Delete|s||k=2 s/ s/a=1 s/d/ s/d/b=1|k=2||no error
link to a directory|Delete|s||d/ d/a=1 s>d|d/ s>d||DeleteDir: Unable to rmdir() s errno = 20=Not a directory
refused|Delete|/proc/self/status|||||unlink() failed for s=/proc/self/status err=1 c=Operation not permitted
no place|MoveOrCopy|s|n/t|s=1|s=1||std::exception
file far away|MoveOrCopy|s|far/t|s=1|far/t=1||no error
tree far away|MoveOrCopy|s|far/t|s/ s/a=1 s/d/ s/d/b=2|far/t/ far/t/a=1 far/t/d/ far/t/d/b=2|far/t/a far/t/d/b|no error
onto a far directory|MoveOrCopy|s|far/t|s=1 far/t/|s=1 far/t/||std::exception
)";

TEST(FileTreeTest, MovesCopiesAndDeletes) {
    enum Column : std::uint8_t { kAbout, kCall, kSource, kTarget, kBefore, kAfter, kFiles, kError };
    const std::map<std::string, std::function<void(const std::string&, const std::string&, const FileCallback&)>>
        calls = {
            {"Move", Move},
            {"MoveDir", MoveDir},
            {"CopyFile", CopyFile},
            {"CopyDir", CopyDir},
            {"Delete", [](auto& path, auto&, auto&) { Delete(path); }},
            {"MoveOrCopy", [](auto& source, auto& target, auto& callback) { MoveOrCopy(source, target, callback); }}};
    if (AnotherFileSystem().empty()) {
        GTEST_SKIP() << "no second file system at /dev/shm to move to";
    }
    std::istringstream lines(kCalls);
    for (std::string line; std::getline(lines >> std::ws, line);) {
        SCOPED_TRACE(line);
        const StrTokenizer row(line.c_str(), '|');
        const ScratchDir scratch;
        const TempDir far(AnotherFileSystem());
        const ScopedCWD inside(scratch.Path());
        Plant(scratch, "far>" + far.Path());  // first: what is planted may lie in it
        Plant(scratch, row.Token(kBefore));
        const auto shown = [&, here = fs::canonical(".").string()](std::string text) {
            ReplaceAll(text, far.Path(), "far");
            ReplaceAll(text, here, "@");
            return text;
        };
        Tree announced;
        const auto record = [&](const std::string& path) { announced.insert(shown(path)); };
        const auto& call = calls.at(row.Token(kCall));
        EXPECT_EQ(shown(ErrorOf<std::exception>(call, row.Token(kSource), row.Token(kTarget), record)),
                  row.Token(kError));
        EXPECT_EQ(Planted(), Words(row.Token(kAfter) + (" far>" + far.Path())));
        EXPECT_EQ(announced, Words(row.Token(kFiles)));
    }
}

TEST(FileTreeTest, MoveOrCopyKeepsWhatItCannotCopyWhole) {
    if (AnotherFileSystem().empty()) {
        GTEST_SKIP() << "no second file system at /dev/shm";
    }
    const ScratchDir scratch;
    const TempDir far(AnotherFileSystem());
    Plant(scratch, "dir/ dir/f=1 long=" + std::string(4120, 'x'));
    Plant(far, "to-f>" + scratch / "dir/f" + " dir/ dir/f>" + scratch / "dir/f");
    EXPECT_THROW(MoveOrCopy(scratch / "dir/f", far / "to-f"), std::exception);
    EXPECT_THROW(MoveOrCopy(scratch / "dir", far / "dir"), std::exception);
    EXPECT_EQ(scratch.Read("dir/f"), "1");
    {
        const ScopedLimit fullDisk(RLIMIT_FSIZE, 4096 + 10);  // the second block is written in part
        EXPECT_THROW(MoveOrCopy(scratch / "long", far / "long"), std::exception);
    }
    EXPECT_EQ(scratch.Read("long"), std::string(4120, 'x'));
}

TEST(FileTreeTest, MoveOrCopyKeepsWhatABindMountShowsTwiceAsRoot) {
    const ScratchDir scratch;
    Plant(scratch, "a/ a/d/ a/d/f=1 b/");
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_PRIVATE | MS_REC, nullptr) != 0 ||
        mount((scratch / "a").c_str(), (scratch / "b").c_str(), nullptr, MS_BIND, nullptr) != 0) {
        GTEST_SKIP() << "only root may mount";
    }
    for (const auto& [source, target] : {std::pair{"a/d/f", "b/d/f"}, {"a/d", "b/d"}, {"a", "b/d/inside"}}) {
        EXPECT_THROW(MoveOrCopy(scratch / source, scratch / target), std::exception) << source;
        EXPECT_EQ(scratch.Read("a/d/f"), "1") << source;
    }
    EXPECT_EQ(umount((scratch / "b").c_str()), 0);
}

TEST(FileTreeTest, EveryLevelHasACallbackOfItsOwnWhoseErrorEndsTheWork) {
    const ScratchDir scratch;
    const ScopedCWD inside(scratch.Path());
    Plant(scratch, "s/ s/d/ s/d/b=2 s/e/ s/e/c=3");
    std::string counts;
    CopyDir("s", "t", [&counts, n = 0](auto&) mutable { counts += std::to_string(++n); });
    EXPECT_EQ(counts, "11");
    EXPECT_THROW(Move("s", "u", [](auto& path) { throw path; }), std::string);
    EXPECT_THROW(CopyFile("t", "v", nullptr), std::bad_function_call);
    EXPECT_THROW(DeleteDir("missing"), std::domain_error);
    EXPECT_THROW(CopyFile("t/d/b", "missing/b", nullptr), std::domain_error);
}

TEST(FileTreeTest, MakesDirectories) {
    const ScratchDir scratch;
    const ScopedCWD inside(scratch.Path());
    const ScopedUmask groupOnly(07);
    Plant(scratch, "g=1");
    EXPECT_TRUE(EnsureDir("a") && EnsureDir("a"));
    EXPECT_EQ(fs::status("a").permissions(), fs::perms{0770});
    EXPECT_TRUE(!EnsureDir("b/c") && errno == ENOENT);
    EXPECT_TRUE(MakeDirs("b/c//d/") && MakeDirs(scratch / "e/f"));
    EXPECT_FALSE(MakeDirs("g/h") || MakeDirs(""));
    EXPECT_EQ(Planted(), Words("a/ b/ b/c/ b/c/d/ e/ e/f/ g=1"));
    for (int round = 0; round < 150; ++round) {
        const auto make = [path = "h" + std::to_string(round) + "/i/j"] { return MakeDirs(path); };
        auto other = std::async(std::launch::async, make);
        EXPECT_TRUE(make() & other.get()) << "what one thread makes, the other finds made";
    }
}

}  // namespace
}  // namespace MiscUtils
