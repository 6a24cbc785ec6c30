// The exact mode's command line, messages and statuses on the real program, and what is left of a run in whatever way
// it ends. The data of most records is one digit, the second of their time, so an output's text tells which records
// stand in it, in what order.

#include <csignal>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"
#include "tests/support/limits.h"
#include "tests/support/tool_run.h"

namespace {

using namespace std::string_literals;

// A record at each of these seconds.
std::string At(const std::string& seconds, CaptureBuilder capture = {}) {
    for (const char second : seconds) {
        capture.Record(second - '0', 0, {&second, 1});
    }
    return capture.Bytes();
}

// The data of an output's records, and what is wrong with it; "none" where there is no output.
std::string TextOf(const std::string& file) {
    const auto read = velora::capture::ReadWhole(file, {.keepsAllLinkTypes = true});
    std::string text;
    for (const auto& record : read.Records()) {
        text += record.data;
    }
    return file.empty() ? "none" : text + (read.problem ? " " + read.problem->text : "");
}

// "pcap", or another format, and how it is compressed.
std::string FormOf(const std::string& file) {
    const auto traits = velora::capture::ReadWhole(file).traits;
    const bool isPacked = traits.compression != velora::codec::Compression::kNone;
    return file.empty() ? "none" : NameOf(traits.format) + (isPacked ? " "s + NameOf(traits.compression) : "");
}

// A folder with some inputs, in which the tool runs.
struct ExactRun : ToolRun {
    ExactRun() {
        std::filesystem::create_directory(directory / "folder");
        for (const std::string place : {"", "folder/"}) {
            directory.Write(place + "odd", At("13"));
            directory.Write(place + "even", Gzip(At("24")));
        }
        directory.Write("cut", At("5") + "cut");
        directory.Write("cooked", At("5", CaptureBuilder().LinkType(0x1C000071)));
        directory.Write("no-records", CaptureBuilder().Nanoseconds().SnapLen(300000).LinkType(0x10000001).Bytes());
        mkfifo(directory.Path("fifo").c_str(), 0600);
    }

    ToolResult Exact(const std::string& arguments) const {
        const auto before = directory.Names();
        const ToolResult result = (*this)("--exact " + arguments);
        EXPECT_FALSE(result.hasLeftLog) << result;
        const bool mayLeaveAFile = result.exitStatus == 0 || result.exitStatus == 252;
        EXPECT_TRUE(mayLeaveAFile || directory.Names() == before) << result << "leaves something";
        return result;
    }
};

// What a standard stream of the tool may be.
using Stream = std::function<void(int)>;

void AsItIs(int /*descriptor*/) {}

void Closed(int descriptor) {
    close(descriptor);
}

Stream Opened(const char* path, int flags) {
    return [=](int descriptor) { dup2(open(path, flags | O_CLOEXEC), descriptor); };
}

void UnreadPipe(int descriptor) {
    int ends[2];
    static_cast<void>(!pipe(ends));
    dup2(ends[1], descriptor);
    close(ends[0]);
    close(ends[1]);
}

void Terminal(int descriptor) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);  // stays open in the tool
    unlockpt(master);
    Opened(ptsname(master), O_RDWR | O_NOCTTY)(descriptor);
}

void SetLimit(__rlimit_resource_t resource, rlim_t soft, rlim_t hard) {
    const rlimit limit{.rlim_cur = soft, .rlim_max = hard};
    setrlimit(resource, &limit);
}

const std::string kTryHelp = "Try 'seamtool --exact --help'.\n";

struct Row {
    std::string line;  // the arguments; "-out x" if it names no output
    Stream input = AsItIs;
    Stream output = AsItIs;
    Stream errorOutput = AsItIs;
    int status = 0;              // or minus a signal
    Lines errors = {};           // without the "seamtool: " in front
    std::string piped = "none";  // the records that standard output holds
    std::string path = "x";      // where the output is expected
    std::string records = "none";
    std::string form = "pcap";
};

// Runs a row, among `files` besides those of every run.
void Check(const Row& row, const std::map<std::string, std::string>& files = {}) {
    ExactRun run;
    run.prepare = [&] { row.input(STDIN_FILENO), row.output(STDOUT_FILENO), row.errorOutput(STDERR_FILENO); };
    for (const auto& [name, content] : files) {
        run.directory.Write(name, content);
    }
    const ToolResult result = run.Exact(row.line + (row.line.find("-out") == std::string::npos ? " -out x" : ""));
    std::string errors;
    for (const std::string& line : row.errors) {
        errors += "seamtool: " + line + "\n";
    }
    const std::string file = run.directory.Read(row.path);
    EXPECT_EQ(result.signal > 0 ? -result.signal : result.exitStatus, row.status) << result;
    EXPECT_EQ(result.errors, errors + (row.status == 255 && errors != "" ? kTryHelp : "")) << result;
    EXPECT_EQ(TextOf(result.output), row.piped) << result;
    EXPECT_EQ(TextOf(file), row.records) << result;
    EXPECT_EQ(FormOf(file), file.empty() ? "none" : row.form) << result;
}

TEST(ExactCommandLineTest, NamesTheFaultOfAWrongLine) {
    const std::string noOutput = "the last two words are not '-out' and an output file";
    const std::string together = "'-squish' and '-squish10' together: give one of them";
    const std::string late = " stands too late: behind the options come -squish or -squish10, then -r, then the inputs";
    const Row rows[] = {
        {.line = "in -out", .errors = {noOutput}},
        {.line = "in -out x in", .errors = {noOutput}},
        {.line = "-out x", .errors = {"there is no input"}},
        {.line = "-- -out x", .errors = {"there is no input"}},
        {.line = "--b\x1B=\x1B in", .errors = {"there is no option '--b\\x1b'"}},
        {.line = "--quiet=1 in", .errors = {"'--quiet' takes no value"}},
        {.line = "--quiet --progress in", .errors = {"'--quiet' and '--progress' contradict each other"}},
        {.line = "in --quiet", .errors = {"'--quiet' stands too late: options come first"}},
        {.line = "-squish -squish10 in", .errors = {together}},
        {.line = "-squish10 -squish in", .errors = {together}},
        {.line = "-squish10 -squish10 in", .errors = {"'-squish10' is given twice"}},
        {.line = "in -squish", .errors = {"'-squish'" + late}},
        {.line = "-r folder -squish10 in", .errors = {"'-squish10'" + late}},
        {.line = "in -r folder", .errors = {"'-r'" + late}},
        {.line = "-r", .errors = {"'-r' needs a directory"}},
        {.line = "-x", .errors = {"'-x' has no place there; for an input of that name give './-x'"}},
        {.line = "- in -", .errors = {"'-', standard input, can be read once only"}},
        {.line = "-", .input = Terminal, .errors = {"standard input is a terminal, which gives no capture"}},
        {.line = "odd -out -",
         .output = Terminal,
         .errors = {"standard output is a terminal, which a capture would upset: redirect it"}},
        {.line = "odd -out", .errorOutput = UnreadPipe, .errors = {}},
    };
    for (Row row : rows) {
        row.status = 255;
        Check(row);
    }
    EXPECT_EQ(ExactRun().Exact("").errors, "seamtool: " + noOutput + "\n" + kTryHelp);
}

TEST(ExactCommandLineTest, AnswersWhatIsAskedOfIt) {
    for (const auto& [arguments, part] : {std::pair{"--help no more", "-squish10"}, {"--version", "7.0.3205\n"}}) {
        const ToolResult result = ExactRun().Exact(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_NE(result.output.find(part), std::string::npos) << result;
    }
}

TEST(ExactCommandLineTest, WritesTheRecordsAskedForInTheirOrder) {
    const Row rows[] = {
        {.line = "even odd", .records = "1234"},
        {.line = "odd odd", .records = "1133"},
        {.line = "-squish even odd", .records = "2143"},
        {.line = "--concatenate even odd", .records = "2413"},
        {.line = "--files-from=lines", .records = "1234"},
        {.line = "--files-from=zeros even", .records = "1234"},
        {.line = "--quiet -squish -r folder -- odd", .path = "folder/x", .records = "13"},
        {.line = "odd -- -0", .records = "013"},
        {.line = "./-0", .records = "0"},
        {.line = "odd -out -o", .path = "-o", .records = "13"},
        {.line = "--from=@2 odd even", .records = "234"},
        {.line = "--to=1970-01-01T00:00:03Z odd even", .records = "12"},
        {.line = "--from=@1.000000001 --to=@3.000000001 odd even", .records = "23"},
        {.line = "--from=@4 odd", .records = ""},
        {.line = "--snaplen=2 long", .records = "lo"},
    };
    for (const Row& row : rows) {
        Check(row, {{"lines", "odd\n\neven\n"},
                    {"zeros", "odd\0"s},
                    {"-0", At("0")},
                    {"long", CaptureBuilder().Record(4, 0, "long").Bytes()}});
    }
}

TEST(ExactCommandLineTest, DropsRecordsThatWereWrittenBefore) {
    CaptureBuilder again;
    again.Record(1, 0, "r").Record(2, 0, "r").Record(2, 500000, "r").Record(5, 0, "r");
    const std::string dropped = "odd: 2 records dropped: equal to records written before";
    const CaptureBuilder otherLength = CaptureBuilder().Record(4, 0, 1, 4, "l").Record(4, 0, 1, 6, "l");
    const Row rows[] = {
        {.line = "--dedup odd odd", .errors = {dropped}, .records = "13"},
        {.line = "--dedup --quiet odd odd even", .records = "1234"},
        {.line = "--dedup again", .records = "rrrr"},
        {.line = "--dedup=1 --quiet again", .records = "rrr"},  // 2.5 is near to 2, which is not written
        {.line = "--dedup=2 --quiet again", .records = "rr"},
        {.line = "--dedup other-length", .records = "ll"},
    };
    for (const Row& row : rows) {
        Check(row, {{"again", again.Bytes()}, {"other-length", otherLength.Bytes()}});
    }
}

TEST(ExactCommandLineTest, WritesTheFormAskedFor) {
    const Row rows[] = {
        {.line = "fine", .form = "pcap with nanoseconds"},
        {.line = "--format=pcap fine", .form = "pcap"},
        {.line = "--format=pcap-ns odd", .form = "pcap with nanoseconds"},
        {.line = "--compress=zstd --format=pcapng odd", .form = "pcap-ng zstd"},
        {.line = "odd -out x.gz", .path = "x.gz", .form = "pcap gzip"},
        {.line = "odd -out x.zst", .path = "x.zst", .form = "pcap zstd"},
        {.line = "--compress=none odd -out x.gz", .path = "x.gz", .form = "pcap"},
    };
    for (Row row : rows) {
        row.records = "13";
        Check(row, {{"fine", At("13", CaptureBuilder().Nanoseconds())}});
    }
}

TEST(ExactCommandLineTest, GivesTheOutputAHeaderThatFitsAllInputs) {
    const auto header = [](const std::string& inputs) {
        const ExactRun run;
        run.directory.Write("plain-cooked", At("6", CaptureBuilder().LinkType(113)));
        run.directory.Write("only-a-section", PcapNgBuilder::Empty().Section().Bytes());
        EXPECT_EQ(run.Exact(inputs + " -out x").exitStatus, 0);
        return run.directory.Read("x").substr(0, 24);
    };
    const CaptureBuilder fine = CaptureBuilder().Nanoseconds().SnapLen(300000);
    const CaptureBuilder usual = CaptureBuilder().SnapLen(262144);
    EXPECT_EQ(header("odd"), usual.Bytes());
    EXPECT_EQ(header("only-a-section"), usual.Bytes());
    EXPECT_EQ(header("no-records"), fine.Bytes());
    EXPECT_EQ(header("odd no-records"), fine.Bytes());
    EXPECT_EQ(header("cooked no-records"), CaptureBuilder(fine).LinkType(0x1C000071).Bytes());
    EXPECT_EQ(header("cooked plain-cooked"), CaptureBuilder(usual).LinkType(113).Bytes());
}

TEST(ExactCommandLineTest, NamesInputsThatItLeavesOut) {
    const std::string hostile = "\x1B]0;\xFF\\\xC3\xA9\xE2\x80\xAE";
    const std::string hostileShown = "\\x1b]0;\\xff\\x5c\xC3\xA9\\xe2\\x80\\xae";
    const std::string cut = "1 record read, then at byte 41: the file ends inside a record";
    const std::string noInput = "x: not written: no input is a readable capture";
    const Row rows[] = {
        {.line = "odd cut", .errors = {"cut: " + cut}, .records = "135"},
        {.line = "gone odd", .errors = {"gone: left out: cannot be opened: No such file or directory"}},
        {.line = "odd folder", .errors = {"folder: left out: is a directory"}},
        {.line = hostile + " odd", .errors = {hostileShown + ": left out: no capture: it is empty"}},
        {.line = "- odd", .input = Closed, .errors = {"standard input: left out: Bad file descriptor"}},
        {.line = "odd cut", .errorOutput = UnreadPipe, .records = "135"},
    };
    for (Row row : rows) {
        row.status = 252;
        row.records = row.records == "none" ? "13" : row.records;
        Check(row, {{hostile, ""}});
    }
    Check({.line = "-",
           .input = Opened("folder", O_RDONLY),
           .status = 251,
           .errors = {"standard input: left out: is a directory", noInput}});
}

// A packet in the last second before 1970.
std::string BeforeTheEpoch(std::uint16_t linkType, const std::string& data) {
    PcapNgBuilder file = PcapNgBuilder::Empty().Section();
    return file.Interface(linkType, 0, file.Option(14, std::string(8, '\xFF'))).PacketOf(0, 1, data).Bytes();
}

TEST(ExactCommandLineTest, NamesWhatTheOutputCannotHold) {
    const std::string fitsNot =
        "x: not written: inputs of different link types do not fit into one pcap file, but with "
        "--format=pcapng they do";
    const std::string tooEarly = ": 1 record from before 1970: written with time 0";
    PcapNgBuilder mixed = PcapNgBuilder(1, 6).Block(4, "").Packet(std::uint64_t{1} << 63U, "b");
    mixed.Interface(113, 0).PacketOf(1, 7, "k").Interface(1, 0, mixed.Option(9, "\x09")).PacketOf(2, 999, "f");
    const std::string privatePacket = "\x45\0\0\x14\0\0\0\0\x40\x11\0\0\xC0\xA8\1\1\xC0\xA8\1\2"s;
    const Row rows[] = {
        {.line = "odd cooked",
         .status = 251,
         .errors = {"cooked: its link type is 113 (Linux cooked), that of odd is 1 (Ethernet)", fitsNot}},
        {.line = "--format=pcapng odd cooked", .records = "135", .form = "pcap-ng"},
        {.line = "--format=pcapng huge",
         .status = 251,
         .errors = {"huge: its link type is 70000", "x: not written: pcap-ng has no room for such a link type"}},
        {.line = "--format=pcapng odd huge-but-empty", .records = "13", .form = "pcap-ng"},
        {.line = "early", .status = 252, .errors = {"early" + tooEarly}, .records = "e"},
        {.line = "mixed",
         .status = 252,
         .errors = {"mixed: 1 record left out: link type 113 (Linux cooked) does not fit the output's, 1 (Ethernet)",
                    "mixed: 1 record from 2106 or later: written with the last time that the output can hold",
                    "mixed: 1 record with times finer than the output's microseconds: rounded down",
                    "mixed: names, secrets or comments in it are not taken over"},
         .records = "fb"},
    };
    const CaptureBuilder huge = CaptureBuilder().LinkType(70000);
    for (const Row& row : rows) {
        Check(row, {{"huge", At("1", huge)},
                    {"huge-but-empty", huge.Bytes()},
                    {"early", BeforeTheEpoch(1, "e")},
                    {"mixed", mixed.Bytes()}});
    }
    ExactRun run;
    run.directory.Write("private", BeforeTheEpoch(101, privatePacket));
    EXPECT_EQ(run.Exact("-squish10 private -out x").errors, "seamtool: private" + tooEarly + "\n") << "no copy counts";
}

TEST(ExactCommandLineTest, RefusesAnOutputBeforeItReadsInputs) {
    const Row rows[] = {
        {.line = "gone -out odd", .status = 254, .errors = {"odd: exists already"}},
        {.line = "odd fifo -out fifo", .status = 254, .errors = {"fifo: it is one of the inputs"}},
        {.line = "gone -out gone/x", .status = 253, .errors = {"gone/x: No such file or directory"}},
        {.line = "odd -out -", .output = Closed, .status = 253, .errors = {"standard output: is closed"}},
        {.line = "--help -out -", .output = Closed, .status = 253, .errors = {"standard output: is closed"}},
        {.line = "even -out -",
         .output = Opened("odd", O_RDONLY),
         .status = 253,
         .errors = {"standard output: Bad file descriptor"}},
        {.line = "- -out -",
         .input = Opened("odd", O_RDWR),
         .output = [](int output) { dup2(STDIN_FILENO, output); },
         .status = 254,
         .errors = {"standard output: it is one of the inputs"}},
    };
    for (Row row : rows) {
        row.path = "no file";
        Check(row);
    }
    EXPECT_EQ(ExactRun().Exact("-r gone gone -out odd").errors,
              "seamtool: gone: cannot be entered: No such file or directory\n");
}

TEST(ExactCommandLineTest, ReadsAndWritesStandardStreams) {
    const Row rows[] = {
        {.line = "- -out -", .input = Opened("even", O_RDONLY), .piped = "24"},
        {.line = "- even", .input = Opened("odd", O_RDONLY), .records = "1234"},
        {.line = "odd even", .input = Closed, .output = Closed, .errorOutput = Closed, .records = "1234"},
    };
    std::ranges::for_each(rows, [](const Row& row) { Check(row); });
}

TEST(ExactCommandLineTest, TellsOfAFailedWrite) {
    const std::string full = "standard output: No space left on device";
    const auto unreadWithoutSignal = [](int output) { std::signal(SIGPIPE, SIG_IGN), UnreadPipe(output); };
    for (const std::string line : {"odd -out -", "--help -out -"}) {
        Check({.line = line, .output = Opened("/dev/full", O_WRONLY), .status = 253, .errors = {full}});
        Check({.line = line, .output = UnreadPipe, .status = -SIGPIPE});
        Check({.line = line, .output = unreadWithoutSignal, .status = 253, .errors = {"standard output: Broken pipe"}});
    }
    const auto limit = [](int) { SetLimit(RLIMIT_FSIZE, 4096, 4096), std::signal(SIGXFSZ, SIG_DFL); };
    Check({.line = "large", .output = limit, .status = 253, .errors = {"x: File too large"}},
          {{"large", CaptureBuilder().Record(1, 0, std::string(50000, 'l')).Bytes()}});
}

// The tool reads a FIFO, and has looked at all else, when `meanwhile` is called: with its number, and with the FIFO.
ToolResult RunWithFifo(ExactRun& run, const std::string& arguments, const std::function<void(pid_t, int)>& meanwhile) {
    const TempDir aside;
    const std::string pidPath = aside / "pid";
    const auto prepare = run.prepare;
    run.prepare = [=] {
        std::ofstream(pidPath) << getpid();
        prepare();
    };
    std::jthread peer([&] {
        std::signal(SIGPIPE, SIG_IGN);
        const int fifo = open(run.directory.Path("fifo").c_str(), O_WRONLY | O_CLOEXEC);
        meanwhile(std::stoi(aside.Read("pid")), fifo);
        close(fifo);
    });
    ToolResult result = run("--exact " + arguments);
    const int reader = open(run.directory.Path("fifo").c_str(), O_RDONLY | O_NONBLOCK);
    peer.join();  // it may still have waited for one
    close(reader);
    EXPECT_FALSE(result.hasLeftLog);
    return result;
}

void Send(int fifo, const std::string& bytes) {
    EXPECT_EQ(write(fifo, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

TEST(ExactCommandLineTest, EndsBySignalsAndLeavesNothing) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ExactRun run;
        const auto before = run.directory.Names();
        const ToolResult result = RunWithFifo(run, "odd fifo -out x", [&](pid_t tool, int fifo) {
            Send(fifo, At("5").substr(0, 30));
            kill(tool, signal);
        });
        EXPECT_EQ(result.signal, signal) << result;
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(run.directory.Names(), before);
    }
}

TEST(ExactCommandLineTest, GoesOnAfterSignalsThatItsStarterIgnores) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ExactRun run;
        run.prepare = [=] { std::signal(signal, SIG_IGN); };
        const ToolResult result = RunWithFifo(run, "odd fifo -out x", [&](pid_t tool, int fifo) {
            kill(tool, signal);
            Send(fifo, At("5"));
        });
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(TextOf(run.directory.Read("x")), "135");
    }
}

TEST(ExactCommandLineTest, LeavesAloneWhatComesIntoBeingDuringTheRun) {
    ExactRun run;
    const ToolResult result = RunWithFifo(run, "odd fifo -out x", [&](pid_t /*tool*/, int fifo) {
        run.directory.Write("x", "somebody else's");
        Send(fifo, At("2"));
    });
    EXPECT_EQ(result.exitStatus, 254) << result;
    EXPECT_EQ(result.errors, "seamtool: x: came into being during the run; the finished capture is x.1\n");
    EXPECT_EQ(run.directory.Read("x"), "somebody else's");
    EXPECT_EQ(TextOf(run.directory.Read("x.1")), "123");
}

// More of them than workers, all open, and the last one speaks first.
TEST(ExactCommandLineTest, WaitsForManyPipesAtOnce) {
    const ExactRun run;
    std::string names;
    for (char name = 'A'; name <= 'Z'; ++name) {
        names += "folder/fifo"s + name + ' ';
        mkfifo(run.directory.Path("folder/fifo"s + name).c_str(), 0600);
    }
    std::jthread peer([&] {
        std::vector<int> fifos;
        for (char name = 'A'; name <= 'Z'; ++name) {
            fifos.push_back(open(run.directory.Path("folder/fifo"s + name).c_str(), O_WRONLY | O_CLOEXEC));
        }
        for (char name = 'Z'; name >= 'A'; --name) {
            Send(fifos.back(), CaptureBuilder().Record(1, 0, {&name, 1}).Bytes());
            close(fifos.back());
            fifos.pop_back();
        }
    });
    EXPECT_EQ(run.Exact(names + "-out x").exitStatus, 0);
    EXPECT_EQ(TextOf(run.directory.Read("x")), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
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

TEST(ExactCommandLineTest, CountsTheInputsThatItHasDescriptorsFor) {
    if (IS_SANITIZED) {
        GTEST_SKIP() << "the sanitizers' checks take descriptors, too";
    }
    ToolResult result;
    rlim_t most = 14;  // far too few at first
    do {
        ExactRun run;
        run.prepare = [=] { SetLimit(RLIMIT_NOFILE, 10, most); };
        result = RunWithFifo(run, "odd odd odd odd odd odd odd fifo -out x",
                             [](pid_t, int fifo) { static_cast<void>(!write(fifo, At("5").data(), At("5").size())); });
        const std::string start = "seamtool: x: there are 8 inputs, and descriptors for ";
        ASSERT_TRUE(result.exitStatus == 0 || result.exitStatus == 251) << result;
        ASSERT_TRUE(result.exitStatus == 0 || result.errors.starts_with(start)) << result;
        ASSERT_TRUE(result.exitStatus == 0 || std::stoi(result.errors.substr(start.size())) < 8) << result;
    } while (most++, result.exitStatus != 0);
    EXPECT_GT(most, 15U) << "nothing was refused";
}

}  // namespace
