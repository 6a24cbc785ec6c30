#include <regex>

#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "tests/support/file_trees.h"
#include "tests/support/limits.h"
#include "velora/utils/bounded_copy.h"
#include "velora/utils/config_archive.h"
#include "velora/utils/host_name.h"
#include "velora/utils/local_datagram.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/temp_file.h"
#include "velora/utils/text_shim.h"

namespace MiscUtils {
namespace {

namespace fs = std::filesystem;

TEST(HostNameTest, TakesUpTo63CharactersAsRoot) {
    if (unshare(CLONE_NEWUTS) != 0) {  // from here on this process has a name of its own
        GTEST_SKIP() << "only root may set a host name";
    }
    const std::string name(64, 'h');
    EXPECT_EQ(sethostname(name.data(), 63), 0);
    EXPECT_EQ(HostName(), name.substr(1));
    EXPECT_EQ(sethostname(name.data(), 64), 0);
    EXPECT_EQ(HostName(), "hostname-error");
}

TEST(TempFileDeathTest, NamesKeepTheirSuffixAndAreReserved) {
    const ScratchDir scratch;
    for (const auto& [pattern, form] : {std::pair<std::string, std::string>{"", "/tmp/Dpi\\.Pipe\\.\\w{6}"},
                                        {scratch / "aXXXXXX.log", scratch / "a\\w{6}\\.log"},
                                        {scratch / "aXXXXXX-XXXXXX", scratch / "a\\w{6}-XXXXXX"}}) {
        const std::string path = MakeTempFile(pattern);
        EXPECT_TRUE(std::regex_match(path, std::regex(form))) << path;
        EXPECT_TRUE(fs::is_regular_file(path) && fs::is_empty(path) && fs::remove(path)) << path;
    }
    EXPECT_EQ(ErrorOf<std::runtime_error>(MakeTempFile, "12345"), "Invalid argument");
    EXPECT_THROW(static_cast<void>(MakeTempFile("1234")), std::out_of_range);
    EXPECT_EQ(ErrorOf<std::runtime_error>(MakeTempFile, "XXXXXX" + std::string(4089, 'a')), "File name too long");
    EXPECT_EXIT(static_cast<void>(MakeTempFile("XXXXXX" + std::string(4090, 'a'))), testing::KilledBySignal(SIGABRT),
                "MakeTempFile: text of 4096 bytes does not fit into 4096");
}

TEST(WriteFileTest, WritesAllOrThrows) {
    const ScratchDir scratch;
    const std::string path = scratch.Write("file", "what was there before");
    WriteFile({"a\0\n\r\xff", 5}, path.c_str());
    EXPECT_EQ(TempDir::ReadPath(path), std::string("a\0\n\r\xff", 5));
    for (const std::size_t size : {1U, 50000U}) {  // found out at the close, and before it
        EXPECT_EQ(ErrorOf<std::runtime_error>(WriteFile, std::string(size, 'x'), "/dev/full"),
                  "No space left on device : /dev/full");
    }
    EXPECT_EQ(ErrorOf<std::runtime_error>(WriteFile, "x", "/proc"), "Is a directory : /proc");
}

TEST(ConfigArchiveTest, UnpacksAndLeavesNoTrace) {
    const ScratchDir scratch;
    const fs::path cwd = fs::current_path();
    Plant(scratch, "from/ from/sub/ from/sub/a=" + scratch.Path() + " to/");
    ASSERT_EQ(system(("cd '" + scratch.Path() + "' && tar czf a.tgz -C from .").c_str()), 0);
    const std::string archive = scratch.Read("a.tgz");
    EXPECT_TRUE(UnpackConfigArchive(archive, (scratch / "to").c_str()));
    EXPECT_EQ(scratch.Read("to/sub/a"), scratch.Path());
    testing::internal::CaptureStderr();
    EXPECT_TRUE(UnpackConfigArchive("cut" + archive, (scratch / "to").c_str()));
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_THROW(UnpackConfigArchive(archive, (scratch / "missing").c_str()), std::runtime_error);
    EXPECT_EQ(fs::current_path(), cwd);
    for (const auto& entry : fs::directory_iterator("/tmp")) {  // maybe with those of other tests
        EXPECT_FALSE(entry.path().filename().string().starts_with("CFGTGZ.") &&
                     TempDir::ReadPath(entry.path()).ends_with(archive));
    }
}

TEST(LocalDatagramDeathTest, ArrivesWholeOrSaysWhichCallFailed) {
    const ScratchDir scratch;
    const UniqueFd receiver(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    CopyBounded(address.sun_path, scratch / "socket", "test");
    ASSERT_EQ(bind(receiver.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    SendLocalDatagram(scratch / "socket", Pattern(9000));
    std::string got(10000, '#');
    EXPECT_EQ(recv(receiver.Get(), got.data(), got.size(), 0), 9000);
    EXPECT_EQ(got, Pattern(9000) + std::string(1000, '#'));
    const std::string name(108, 'n');
    EXPECT_EQ(ErrorOf<std::runtime_error>(SendLocalDatagram, name.substr(1), "x"),
              "No such file or directory : sendto()");
    EXPECT_EXIT(SendLocalDatagram(name, "x"), testing::KilledBySignal(SIGABRT), "108 bytes does not fit into 108");
    const ScopedLimit nothingOpens(RLIMIT_NOFILE, DescriptorsAllowing(0));
    EXPECT_EQ(ErrorOf<std::runtime_error>(SendLocalDatagram, "x", "x"), "Too many open files : socket()");
}

TEST(TextShimTest, SizesAreNotLookedAt) {
    char text[32] = "";
    EXPECT_STREQ(AppendText(CopyText(text, 1, "abc"), 1, "defg"), "abcdefg");
    EXPECT_STREQ(CopyTextN(text, 1, "xyz", 2), "xycdefg");
    int number = 0;
    EXPECT_TRUE(ScanText("12 ab", "%d %31s", &number, text) == 2 && number == 12);
    EXPECT_STREQ(ErrorText(text, 9, 12345), "Unknown ");  // but for this one
    std::FILE* file = stdin;
    EXPECT_TRUE(OpenFile(&file, "/dev/null/x", "r") == -1 && file == nullptr);
}

}  // namespace
}  // namespace MiscUtils
