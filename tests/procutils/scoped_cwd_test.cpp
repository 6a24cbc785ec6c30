#include "procutils/scoped_cwd.h"

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/procutils/process_support.h"
#include "tests/support/scratch_dir.h"

namespace velora::utils::proc {
namespace {

namespace fs = std::filesystem;
using test_support::MakeFile;
using test_support::ScratchDir;

std::string ErrorOf(const std::string& path) {
    try {
        const ScopedCWD inside(path);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(ScopedCwdTest, EntersADirectoryOrThatOfAFileAndComesBack) {
    const ScratchDir scratch;
    const fs::path start = fs::current_path();
    const fs::path directory = fs::canonical(scratch.Path());
    for (const std::string& path : {scratch.Path(), MakeFile(scratch / "file")}) {
        SCOPED_TRACE(path);
        {
            const ScopedCWD inside(path);
            EXPECT_EQ(fs::current_path(), directory);
            {
                const ScopedCWD root("/");
                EXPECT_EQ(fs::current_path(), "/");
            }
            EXPECT_EQ(fs::current_path(), directory);
        }
        EXPECT_EQ(fs::current_path(), start);
    }
}

TEST(ScopedCwdTest, RefusesWhatItCannotEnterAndStays) {
    const ScratchDir scratch;
    const fs::path start = fs::current_path();
    const std::string missing = scratch / "missing";
    EXPECT_EQ(ErrorOf(missing), "No such file or directory : Invalid path to scopedcwd:" + missing);
    EXPECT_EQ(ErrorOf(""), "No such file or directory : Invalid path to scopedcwd:");

    fs::permissions(scratch.Path(), fs::perms::none);
    EXPECT_TRUE(test_support::HoldsForOrdinaryUser([&] {
        return ErrorOf(scratch.Path()) == "Permission denied : ScopedCWD Unable to chdir to lib ";
    }));
    fs::permissions(scratch.Path(), fs::perms::owner_all);
    EXPECT_EQ(fs::current_path(), start);
}

TEST(ScopedCwdTest, StaysWhereItIsWhenTheWayBackIsGone) {
    const ScratchDir scratch;
    const fs::path directory = fs::canonical(scratch.Path());
    const ScopedCWD home(scratch.Path());
    fs::create_directory("gone");
    const ScopedCWD gone("gone");
    {
        const ScopedCWD inside("/");
        fs::remove(directory / "gone");
    }
    EXPECT_EQ(fs::current_path(), "/");
}

TEST(ScopedCwdDeathTest, AFileNeedsAPathOfAtMost1024Bytes) {
    const ScratchDir scratch;
    const std::string name(200, 'f');
    MakeFile(scratch / name);
    std::string path = scratch.Path();
    while (path.size() + name.size() + 3 <= 1024) {
        path += "/.";
    }
    path += path.size() + name.size() + 1 < 1024 ? "//" : "/";
    path += name;
    ASSERT_EQ(path.size(), 1024U);
    EXPECT_EQ(ErrorOf(path), "none");
    EXPECT_EXIT(ErrorOf("/" + path), testing::KilledBySignal(SIGABRT), "1025 bytes does not fit");
}

}  // namespace
}  // namespace velora::utils::proc
