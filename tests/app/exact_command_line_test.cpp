// The exact mode's command line, messages and statuses on the real program.

#include <stdlib.h>

#include "tests/app/exact_run.h"
#include "tests/support/limits.h"

namespace {

using namespace std::string_literals;
using Row = ExactRow;

Stream Opened(const char* path, int flags) {
    return [=](int descriptor) { dup2(open(path, flags | O_CLOEXEC), descriptor); };
}

void UnreadPipe(int descriptor) {
    int ends[2];
    static_cast<void>(!pipe2(ends, O_CLOEXEC));
    dup2(ends[1], descriptor);
}

void Terminal(int descriptor) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);  // stays open in the tool
    unlockpt(master);
    Opened(ptsname(master), O_RDWR | O_NOCTTY)(descriptor);
}

TEST(ExactCommandLineTest, NamesTheFaultOfAWrongLine) {
    const std::string noOutput = "the last two words are not '-out' and an output file";
    const std::string late = " stands too late: behind the options come -squish or -squish10, then -r, then the inputs";
    const std::string neverOccurs = "'--to' does not take '2026-03-08T02:30:00': this local time never occurs";
    const std::string notSeen = "standard output is a terminal, which a capture would upset: redirect it";
    const Row rows[] = {
        {.line = "in -out", .errors = {noOutput}},
        {.line = "in -out x in", .errors = {noOutput}},
        {.line = "-out x", .errors = {"there is no input"}},
        {.line = "--b\x1B=\x1B in", .errors = {"there is no option '--b\\x1b'"}},
        {.line = "--quiet=1 in", .errors = {"'--quiet' takes no value"}},
        {.line = "--quiet --progress in", .errors = {"'--quiet' and '--progress' contradict each other"}},
        {.line = "in --quiet", .errors = {"'--quiet' stands too late: options come first"}},
        {.line = "-squish -squish10 in", .errors = {"'-squish' and '-squish10' together: give one of them"}},
        {.line = "-squish10 -squish10 in", .errors = {"'-squish10' is given twice"}},
        {.line = "in -squish", .errors = {"'-squish'" + late}},
        {.line = "-r folder -squish10 in", .errors = {"'-squish10'" + late}},
        {.line = "in -r folder", .errors = {"'-r'" + late}},
        {.line = "-r", .errors = {"'-r' needs a directory"}},
        {.line = "-x", .errors = {"'-x' has no place there; for an input of that name give './-x'"}},
        {.line = "--to=2026-03-08T02:30:00 in", .errors = {neverOccurs}},
        {.line = "--to=2026-03-08T03 in", .errors = {"'--to' does not take '2026-03-08T03'"}},
        {.line = "- in -", .errors = {"'-', standard input, can be read once only"}},
        {.line = "-", .input = Terminal, .errors = {"standard input is a terminal, which gives no capture"}},
        {.line = "odd -out -", .output = Terminal, .errors = {notSeen}},
        {.line = "odd -out", .errorOutput = UnreadPipe, .errors = {}},
    };
    for (Row row : rows) {
        row.status = 255;
        Check(row);
    }
    EXPECT_EQ(ExactRun().Exact("").errors, "seamtool: " + noOutput + "\nTry 'seamtool --exact --help'.\n");
}

TEST(ExactCommandLineTest, AnswersWhatIsAskedOfIt) {
    for (const auto& [arguments, part] : {std::pair{"--help no more", "-squish10"}, {"--version", "7.0.3205\n"}}) {
        const ToolResult result = ExactRun().Exact(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_NE(result.output.find(part), std::string::npos) << result;
    }
}

TEST(ExactCommandLineTest, WritesTheRecordsAskedForInTheirOrder) {
    const CaptureBuilder again = CaptureBuilder().Record(1, 0, "r").Record(2, 0, "r");
    const std::string dropped = "odd: 2 records dropped: equal to records written before";
    const Row rows[] = {
        {.line = "even odd", .records = "1234"},
        {.line = "odd odd", .records = "1133"},
        {.line = "-squish even odd", .records = "2143"},
        {.line = "--concatenate even odd", .records = "2413"},
        {.line = "--quiet -squish -r folder -- odd", .path = "folder/x", .records = "13"},
        {.line = "odd -- -0", .records = "013"},
        {.line = "./-0", .records = "0"},
        {.line = "odd -out -o", .path = "-o", .records = "13"},
        {.line = "--from=@2 odd even", .records = "234"},
        {.line = "--to=1970-01-01T00:00:03Z odd even", .records = "12"},
        {.line = "--from=@1.000000001 --to=@3.000000001 odd even", .records = "23"},
        {.line = "--from=@4 odd", .records = ""},
        {.line = "--snaplen=2 long", .records = "lo"},
        {.line = "--dedup odd odd", .errors = {dropped}, .records = "13"},
        {.line = "--dedup --quiet odd odd even", .records = "1234"},
        {.line = "--dedup=1 --quiet again", .records = "rrr"},  // 2.5 is near to 2, which is not written
    };
    Check(rows, {{"-0", At("0")},
                 {"long", CaptureBuilder().Record(4, 0, "long").Bytes()},
                 {"again", CaptureBuilder(again).Record(2, 500000, "r").Record(5, 0, "r").Bytes()}});
}

TEST(ExactCommandLineTest, TakesAllBetweenBothMeaningsOfALocalTimeThatOccursTwice) {
    constexpr int kFirst = 1793511000;  // 01:30 in summer time
    constexpr int kSecond = kFirst + 3600;
    CaptureBuilder night = CaptureBuilder().Record(kFirst - 1, 0, "a").Record(kFirst, 0, "b");
    night.Record(kSecond - 1, 0, "c").Record(kSecond, 0, "d").Record(kSecond + 1, 0, "e");
    const Row rows[] = {
        {.line = "--from=2026-11-01T01:30:00 night", .records = "bcde"},
        {.line = "--to=2026-11-01T01:30:00 night", .records = "abc"},
        {.line = "--from=2026-11-01T01:30:00 --to=2026-11-01T01:30:00 night", .records = "bc"},
        {.line = "--to=2026-11-01T01:30:00 --from=2026-11-01T01:30:00 night", .records = "bc"},
        {.line = "--from=2026-01-01T00:00:00 --to=2026-11-01T01:30:00 night", .records = "abc"},
        {.line = "--from=2026-11-01T01:30:00.5 --to=2026-11-01T01:30:00.5 night", .records = "cd"},
    };
    Check(rows, {{"night", night.Bytes()}});
}

TEST(ExactCommandLineTest, WritesTheFormAskedFor) {
    const Row rows[] = {
        {.line = "fine", .records = "13", .form = "pcap with nanoseconds"},
        {.line = "--format=pcap fine", .records = "13", .form = "pcap"},
        {.line = "--format=pcap-ns odd", .records = "13", .form = "pcap with nanoseconds"},
        {.line = "--compress=zstd --format=pcapng odd", .records = "13", .form = "pcap-ng zstd"},
        {.line = "odd -out x.gz", .path = "x.gz", .records = "13", .form = "pcap gzip"},
        {.line = "odd -out x.zst", .path = "x.zst", .records = "13", .form = "pcap zstd"},
        {.line = "--compress=none odd -out x.gz", .path = "x.gz", .records = "13"},
    };
    Check(rows, {{"fine", At("13", CaptureBuilder().Nanoseconds())}});
}

TEST(ExactCommandLineTest, GivesTheOutputAHeaderThatFitsAllInputs) {
    const std::pair<const char*, CaptureBuilder> rows[] = {
        {"cooked no-records", CaptureBuilder().Nanoseconds().SnapLen(300000).LinkType(0x1C000071)},
        {"cooked plain-cooked", CaptureBuilder().SnapLen(262144).LinkType(113)},
    };
    for (const auto& [inputs, header] : rows) {
        const ExactRun run;
        run.directory.Write("plain-cooked", At("6", CaptureBuilder().LinkType(113)));
        const ToolResult result = run.Exact(std::string(inputs) + " -out x");
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(run.directory.Read("x").substr(0, 24), header.Bytes()) << result;
    }
}

TEST(ExactCommandLineTest, NamesInputsThatItLeavesOut) {
    const std::string hostile = "\x1B]0;\xFF\\\xC3\xA9\xE2\x80\xAE";
    const std::string hostileShown = "\\x1b]0;\\xff\\x5c\xC3\xA9\\xe2\\x80\\xae";
    const std::string lz4 = "\x02\x21\x4C\x18...."s;
    const std::string lz4Reads = "it is in the legacy format of lz4: 'lz4 -dc FILE | seamtool --exact - ...' reads it";
    const std::string zstdReads =
        "its zstd window is larger than 128 MiB: 'zstd -dc --long=31 FILE | seamtool --exact - ...' reads it";
    const std::string cut = "cut: 1 record read, then at byte 41: the file ends inside a record";
    const std::string noInput = "x: not written: no input is a readable capture";
    const Row rows[] = {
        {.line = "odd cut", .errors = {cut}, .records = "135"},
        {.line = "gone odd", .errors = {"gone: left out: cannot be opened: No such file or directory"}},
        {.line = "'' odd", .errors = {"'': left out: cannot be opened: No such file or directory"}},
        {.line = "odd folder", .errors = {"folder: left out: is a directory"}},
        {.line = hostile + " odd", .errors = {hostileShown + ": left out: no capture: it is empty"}},
        {.line = "lz4 odd", .errors = {"lz4: left out: no capture: " + lz4Reads}},
        {.line = "zstd odd", .errors = {"zstd: left out: no capture: " + zstdReads}},
        {.line = "- odd", .input = kClosed, .errors = {"standard input: left out: Bad file descriptor"}},
        {.line = "odd cut", .errorOutput = UnreadPipe, .records = "135"},
    };
    for (Row row : rows) {
        row.status = 252;
        row.records = row.records == "none" ? "13" : row.records;
        Check(row, {{hostile, ""}, {"lz4", lz4}, {"zstd", "\x28\xB5\x2F\xFD\0\x89\0\0\0"s}});  // a window of 144 MiB
    }
    const Stream folder = Opened("folder", O_RDONLY);
    Check(
        {.line = "-", .input = folder, .status = 251, .errors = {"standard input: left out: is a directory", noInput}});
}

TEST(ExactCommandLineTest, NamesWhatTheOutputCannotHold) {
    const std::string fitsNot =
        "x: not written: inputs of different link types do not fit into one pcap file, but with "
        "--format=pcapng they do";
    const Row rows[] = {
        {.line = "odd cooked",
         .status = 251,
         .errors = {"cooked: its link type is 113 (Linux cooked), that of odd is 1 (Ethernet)", fitsNot}},
        {.line = "--format=pcapng odd cooked", .records = "135", .form = "pcap-ng"},
        {.line = "--format=pcapng huge",
         .status = 251,
         .errors = {"huge: its link type is 70000", "x: not written: pcap-ng has no room for such a link type"}},
    };
    Check(rows, {{"huge", At("1", CaptureBuilder().LinkType(70000))}});
}

TEST(ExactCommandLineTest, NamesWhatItHasChangedOnceAndInNoCopy) {
    PcapNgBuilder mixed = PcapNgBuilder(1, 6).Block(4, "").Interface(113, 0);
    mixed.Interface(1, 0, mixed.Option(14, std::string(8, '\xFF'))).PacketOf(2, 1, Frame(0x0800, 0xC0A80102, 0));
    mixed.Interface(1, 0, mixed.Option(9, "\x09")).PacketOf(3, 999, "f").PacketOf(1, 7, "k");
    mixed.Packet(std::uint64_t{1} << 63U, "b").Packet(std::uint64_t{1} << 63U, "b");
    for (const std::string mode : {"", "-squish10 "}) {
        const ExactRun run;
        run.directory.Write("in", mixed.Bytes());
        const ToolResult result = run.Exact(mode + "in -out x");
        EXPECT_EQ(result.exitStatus, 252) << result;
        EXPECT_TRUE(TextOf(run.directory.Read("x")).ends_with("fbb")) << result;
        EXPECT_EQ(result.errors,
                  "seamtool: in: 1 record left out: link type 113 (Linux cooked) does not fit the output's, "
                  "1 (Ethernet)\n"
                  "seamtool: in: 1 record from before 1970: written with time 0\n"
                  "seamtool: in: 2 records from 2106 or later: written with the last time that the output can hold\n"
                  "seamtool: in: 1 record with times finer than the output's microseconds: rounded down\n"
                  "seamtool: in: names, secrets or comments in it are not taken over\n");
    }
}

TEST(ExactCommandLineTest, RefusesAnOutputBeforeItReadsInputs) {
    const Stream toRead = Opened("odd", O_RDONLY);
    const Stream toWrite = Opened("odd", O_RDWR);
    const Stream asInput = [](int output) { dup2(STDIN_FILENO, output); };
    const std::string isInput = "standard output: it is one of the inputs";
    const Row rows[] = {
        {.line = "gone -out odd", .status = 254, .errors = {"odd: exists already"}},
        {.line = "odd fifo -out fifo", .status = 254, .errors = {"fifo: it is one of the inputs"}},
        {.line = "gone -out gone/x", .status = 253, .errors = {"gone/x: No such file or directory"}},
        {.line = "gone -out ''", .status = 253, .errors = {"'': No such file or directory"}},
        {.line = "odd -out -", .output = kClosed, .status = 253, .errors = {"standard output: is closed"}},
        {.line = "--help -out -", .output = kClosed, .status = 253, .errors = {"standard output: is closed"}},
        {.line = "even -out -", .output = toRead, .status = 253, .errors = {"standard output: Bad file descriptor"}},
        {.line = "- -out -", .input = toWrite, .output = asInput, .status = 254, .errors = {isInput}},
    };
    Check(rows);
    EXPECT_EQ(ExactRun().Exact("-r gone gone -out odd").errors,
              "seamtool: gone: cannot be entered: No such file or directory\n");
}

TEST(ExactCommandLineTest, KnowsAClosedStandardStreamByAnyName) {
    const std::string isClosed = " is standard output, which is closed";
    const std::string isThere = "there.json: exists already";
    const std::string noInput = "/dev/stdin: left out: cannot be opened: No such device or address";
    const std::string noOutput = "/dev/stdin: is standard input, which is closed";
    const std::string noList = "the list /dev/stdin cannot be read: No such device or address";
    for (const std::string path : {"/dev/stdout", "/dev/fd/1", "/proc/thread-self/fd/1", "stdout.json"}) {
        Check({.line = "odd -out " + path, .output = kClosed, .status = 253, .errors = {path + ":" + isClosed}});
    }
    const std::string report = "--report=stdout.json odd";
    const Row rows[] = {
        {.line = report, .output = kClosed, .status = 253, .errors = {"stdout.json:" + isClosed}},
        {.line = report + " -out /dev/fd/1", .output = kClosed, .status = 253, .errors = {"/dev/fd/1:" + isClosed}},
        {.line = report + " -out there.json", .output = kClosed, .status = 254, .errors = {isThere}},
        {.line = "--report=there.json odd -out /dev/stdout", .output = kClosed, .status = 254, .errors = {isThere}},
        {.line = "odd -out /dev/stdin", .input = kClosed, .status = 253, .errors = {noOutput}},
        {.line = "odd -out /dev/stderr", .errorOutput = kClosed, .status = 253},
        {.line = "odd /dev/stdin -out /dev/null", .input = kClosed, .status = 252, .errors = {noInput}},
        {.line = "--files-from=/dev/stdin odd", .input = kClosed, .status = 255, .errors = {noList}},
        {.line = "odd -out -", .input = kClosed, .piped = "13"},
        {.line = "odd -out /dev/null", .output = kClosed},
    };
    Check(rows);
}

TEST(ExactCommandLineTest, ReadsAndWritesStandardStreams) {
    const Stream behindOtherBytes = [](int input) { Opened("other", O_RDONLY)(input), lseek(input, 9, SEEK_SET); };
    const Row rows[] = {
        {.line = "- -out -", .input = Opened("even", O_RDONLY), .piped = "24"},
        {.line = "- even", .input = behindOtherBytes, .records = "1234"},
        {.line = "odd even", .input = kClosed, .output = kClosed, .errorOutput = kClosed, .records = "1234"},
    };
    Check(rows, {{"other", "before it" + At("13")}});
}

TEST(ExactCommandLineTest, TellsOfAFailedWrite) {
    const std::string full = "standard output: No space left on device";
    const auto unreadWithoutSignal = [](int output) { std::signal(SIGPIPE, SIG_IGN), UnreadPipe(output); };
    for (const std::string line : {"odd -out -", "--help -out -"}) {
        Check({.line = line, .output = Opened("/dev/full", O_WRONLY), .status = 253, .errors = {full}});
        Check({.line = line, .output = UnreadPipe, .status = -SIGPIPE});
        Check({.line = line, .output = unreadWithoutSignal, .status = 253, .errors = {"standard output: Broken pipe"}});
    }
    const auto limit = [](int) {
        static const ScopedLimit kSize(RLIMIT_FSIZE, 4096);
        std::signal(SIGXFSZ, SIG_DFL);
    };
    Check({.line = "large", .output = limit, .status = 253, .errors = {"x: File too large"}},
          {{"large", CaptureBuilder().Record(1, 0, std::string(50000, 'l')).Bytes()}});
}

TEST(ExactCommandLineTest, WritesNothingWithoutAThreadToShowProgress) {
    ExactRun run;
    run.environment["LD_PRELOAD"] = LOG_WITNESS_PATH ":" FAULT_INJECTOR_PATH;
    run.environment["SEAMTOOL_FAULT"] = "pthread_create 1";
    const ToolResult result = run.Exact("--progress odd -out x");
    EXPECT_EQ(result.exitStatus, 253) << result;
    EXPECT_EQ(result.errors, "seamtool: x: not written: Resource temporarily unavailable\n");
}

// More of them than workers, all open, and the last one speaks first.
TEST(ExactCommandLineTest, WaitsForManyPipesAtOnce) {
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const ExactRun run;
    std::string names;
    for (const char letter : letters) {
        names += "pipe"s + letter + ' ';
        mkfifo(run.directory.Path("pipe"s + letter).c_str(), 0600);
    }
    std::jthread peer([&] {
        std::map<char, MiscUtils::UniqueFd> pipes;
        for (const char letter : letters) {
            pipes[letter].Reset(open(run.directory.Path("pipe"s + letter).c_str(), O_WRONLY | O_CLOEXEC));
        }
        for (; !pipes.empty(); pipes.erase(std::prev(pipes.end()))) {
            const auto& [letter, pipe] = *pipes.rbegin();
            Send(pipe.Get(), CaptureBuilder().Record(1, 0, {&letter, 1}).Bytes());
        }
    });
    EXPECT_EQ(run.Exact(names + "-out x").exitStatus, 0);
    EXPECT_EQ(TextOf(run.directory.Read("x")), letters);
}

// Of blocks that grow for a long record no more are held than it takes to put neighbours in order.
TEST(ExactCommandLineTest, HoldsFewLongRecordsAtOnce) {
    constexpr std::size_t kLong = std::size_t{24} << 20U;
    const ExactRun run;
    const auto capture = [] {  // made twice: what is held here at the start counts with the tool's
        CaptureBuilder builder = CaptureBuilder().LinkType(231).SnapLen(262144);
        for (int second = 0; second < 4; ++second) {
            builder.Record(second, 0, std::string(kLong, static_cast<char>(second)));
        }
        return builder.Bytes();
    };
    run.directory.Write("long", Gzip(capture()));
    const ToolResult result = run.Exact("long -out x");
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_TRUE(run.directory.Read("x") == capture());
    EXPECT_TRUE(IS_SANITIZED || result.peakKilobytes < static_cast<long>(3 * kLong >> 10U)) << result.peakKilobytes;
}

#if !IS_SANITIZED  // whose checks take descriptors, too
TEST(ExactCommandLineTest, CountsTheInputsThatItHasDescriptorsFor) {
    const std::string start = "seamtool: x: there are 8 inputs, and descriptors for ";
    ToolResult result;
    rlim_t most = 14;  // far too few at first
    do {
        ExactRun run;
        run.prepare = [=] {
            const rlimit limit{.rlim_cur = 10, .rlim_max = most};
            setrlimit(RLIMIT_NOFILE, &limit);
        };
        result = run.WhileItReads("odd odd odd odd odd odd odd fifo -out x",
                                  [](int fifo) { static_cast<void>(!write(fifo, At("5").data(), At("5").size())); });
        const bool isRefused = result.errors.starts_with(start) && std::stoi(result.errors.substr(start.size())) < 8;
        ASSERT_EQ(result.exitStatus, isRefused ? 251 : 0) << result;
    } while (most++, result.exitStatus != 0);
    EXPECT_GT(most, 15U) << "nothing was refused";
}
#endif

}  // namespace
