#include <cstdint>
#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/file_trees.h"
#include "tests/support/limits.h"
#include "velora/procutils/find_files.h"
#include "velora/procutils/interface_rates.h"
#include "velora/procutils/path_parts.h"
#include "velora/procutils/scoped_cwd.h"
#include "velora/procutils/str_tokenizer.h"

namespace velora::utils::proc {
namespace {

namespace fs = std::filesystem;

// The replay of fuzz/tokenizer.cpp holds tokens of all texts, and copies, against the plainest way to split.
TEST(StrTokenizerTest, IsAssignedWithFiveZerosBehindTheText) {
    auto source = std::make_unique<StrTokenizer>("one two", " ");
    EXPECT_EQ(std::string(source->Token(1), 8), std::string("two\0\0\0\0\0", 8));
    StrTokenizer assigned("x", " ");
    assigned = *source;
    source.reset();
    EXPECT_STREQ(assigned.Last(), "two");
    EXPECT_EQ(assigned.Count(), 2U);
    EXPECT_THROW(static_cast<void>(StrTokenizer("", " ").Last()), std::out_of_range);
    EXPECT_THROW(assigned.ForEach(nullptr), std::bad_function_call);
}

TEST(PathPartsDeathTest, DividesAPath) {
    const auto parts = [](const std::string& path) { return DirName(path) + " " + BaseName(path); };
    EXPECT_EQ(parts("/usr/lib"), "/usr lib");
    EXPECT_EQ(parts("/usr/"), "/ usr");
    EXPECT_EQ(parts("a/b//"), "a b");
    EXPECT_EQ(parts("/"), "/ /");
    EXPECT_EQ(parts(""), ". .");
    const std::string longest = std::string(1022, 'd') + "/f";
    EXPECT_TRUE(DirName(longest) == std::string(1022, 'd') && BaseName("d" + longest) == "f");
    EXPECT_EXIT(static_cast<void>(DirName("d" + longest)), testing::KilledBySignal(SIGABRT),
                "1025 bytes does not fit into 1025");
}

TEST(ScopedCwdTest, EntersADirectoryOrThatOfAFileAndComesBack) {
    const ScratchDir scratch;
    const fs::path start = fs::current_path();
    const auto errorIn = [](const std::string& path) {
        return ErrorOf<std::runtime_error>([&path] { EXPECT_TRUE((ScopedCWD(path), fs::exists("file"))); });
    };
    EXPECT_EQ(errorIn(scratch.Write("file", "")), "no error");
    EXPECT_EQ(errorIn(scratch.Path()), "no error");
    EXPECT_EQ(errorIn("/missing"), "No such file or directory : Invalid path to scopedcwd:/missing");
    fs::permissions(scratch.Path(), fs::perms::none);
    EXPECT_TRUE(HoldsForOrdinaryUser([&] {
        return errorIn(scratch.Path()) == "Permission denied : ScopedCWD Unable to chdir to lib " &&
               fs::current_path() == start;
    }));
    fs::permissions(scratch.Path(), fs::perms::owner_all);
    EXPECT_EQ(fs::current_path(), start);
}

TEST(FindFilesTest, FindsNamesDownToADepth) {
    const ScratchDir scratch;
    Plant(scratch, ".a.x= a.y= q.x! socket.x% d.x/ d.x/b.x= d.x/e/ d.x/e/c= d.x/e/f.x/ l.x>d.x/e");
    const auto found = [&](const char* pattern, int depth) {
        Tree names;
        EXPECT_TRUE(FindFiles(scratch.Path(), pattern, depth, [&](const std::string& path) {
            EXPECT_TRUE(names.insert(path.substr(scratch.Path().size() + 1)).second);
        }));
        return names;
    };
    EXPECT_EQ(found("\\.x$", 0), Words(".a.x socket.x"));
    EXPECT_EQ(found("\\.x$", 1), Words(".a.x d.x d.x/b.x l.x socket.x"));
    EXPECT_EQ(found("^[cf]", -1), Words("d.x/e/c d.x/e/f.x l.x/c l.x/f.x"));
    EXPECT_EQ(found("/|velora|^\\.+$", -1), Tree()) << "names alone are looked at";
    std::string calls;  // a directory after its contents, and with a callable of its own
    FindFiles(scratch / "d.x", "[ce]", 1,
              [&, n = 0](auto& path) mutable { calls += path.back() + std::to_string(++n); });
    EXPECT_EQ(calls, "c1e1");
    EXPECT_THROW(FindFiles(scratch / "d.x", "c", -1, nullptr), std::bad_function_call);
    EXPECT_FALSE(FindFiles(scratch / "missing", ".", 0, nullptr));
    EXPECT_TRUE(HoldsForOrdinaryUser([before = OpenDescriptors()] {  // a process of its own: the directory stays open
        return !FindFiles("/", "(", 0, nullptr) && OpenDescriptors() == before + 1;
    }));
}

// What ip 6.1.0 prints for "<name> <received> <transmitted> ...", with fewer columns; one name brings another line.
std::string Reading(const std::string& counters) {
    std::istringstream words(counters);
    std::string reading;
    for (std::string name, received, sent; words >> name >> received >> sent;) {
        reading += "4: " + name + ": <UP,LOWER_UP> mtu 1400\n    link/ether 02:fc:00:00:00:01\n" +
                   (name == "aliased" ? "    alias an alias\n" : "") + "    RX:  bytes packets errors\n    " +
                   received + "     598      0 \n    TX:  bytes packets errors\n    " + sent + "     323      0 \n";
    }
    return reading;
}

// The replay of fuzz/interface_rates.cpp sees how long the pause is, and that it is one.
TEST(InterfaceRatesTest, ReportsTheDifferenceOfTwoReadings) {
    const auto report = [](const char* first, const char* second, int interval) {
        const auto readings = {Reading(first), Reading(second)};
        return detail::InterfaceRatesFrom([next = readings.begin()]() mutable { return *next++; }, [](auto) {},
                                          interval);
    };
    EXPECT_EQ(report("lo 0 7 eth0 1000 5", "lo 1 7 eth0 3000 6", 2), "eth0  8000    4\nlo  4    0\n");
    EXPECT_EQ(report("cut 0 10", "cut 1 9", 3), "cut  2    -2\n");
    EXPECT_EQ(report("gone 1 2", "va@vb 3 4", 1), "gone  1    2\nva@vb  24    32\n");
    EXPECT_EQ(report("a 0 0 b 1 2", "a 1 1 aliased 9 9 b 9 9", 1), "a  8    8\nb  1    2\n");
    EXPECT_EQ(report("a 9223372036854775807 0", "a 0 9223372036854775807", 1), "a  8    -8\n");
    EXPECT_EQ(report("a 9223372036854775808 0", "", 4295), "");
}

}  // namespace
}  // namespace velora::utils::proc
