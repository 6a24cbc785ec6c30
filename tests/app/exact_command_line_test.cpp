// The exact mode's command line, messages and statuses on the real program, and what is left of a run in whatever
// way it ends. Records have one byte each, so the text of an output tells which ones stand in it, in what order.

#include <csignal>
#include <set>
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
#include "velora/utils/shown_text.h"

namespace {

using namespace std::string_literals;

// The data of an output's records; "none" where there is no output.
std::string TextOf(const std::string& file) {
    std::string text;
    for (std::size_t at = 24; at + 17 <= file.size(); at += 17) {
        text += file[at + 16];
    }
    return file.empty() ? "none" : text;
}

struct ExactRun {
    ExactRun() {
        std::filesystem::create_directory(run.directory / "sub");
        for (const std::string folder : {"", "sub/"}) {
            run.directory.Write(folder + "a", CaptureBuilder().Record(1, 0, "a").Record(3, 0, "A").Bytes());
            run.directory.Write(folder + "b", Gzip(CaptureBuilder().Record(2, 0, "b").Record(9, 0, "B").Bytes()));
        }
        run.directory.Write("-x", CaptureBuilder().Record(0, 0, "x").Bytes());
        run.directory.Write("cut", CaptureBuilder().Record(5, 0, "c").Bytes() + "cut");
        run.directory.Write("fine", CaptureBuilder().Nanoseconds().SnapLen(300000).LinkType(0x10000001).Bytes());
        run.directory.Write("cooked", CaptureBuilder().LinkType(0x1C000071).Record(5, 0, "k").Bytes());
        run.directory.Write("text", "no capture");
        run.directory.Write("empty", "");
        std::filesystem::create_symlink("nowhere", run.directory / "dangling");
        mkfifo(run.directory.Path("fifo").c_str(), 0600);
        before = Names();
    }

    [[nodiscard]] std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(run.directory.Path())) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    ToolResult operator()(const std::string& arguments) const {
        const ToolResult result = run("--exact " + arguments);
        EXPECT_FALSE(result.hasLeftLog) << result;
        if (result.exitStatus != 0 && result.exitStatus != 252) {
            EXPECT_EQ(Names(), before) << result;
        }
        return result;
    }

    ToolRun run;
    std::set<std::string> before;
};

TEST(ExactCommandLineTest, NamesTheFaultOfAWrongLine) {
    const std::string noOutput = "the last two words are not '-out' and an output file";
    const std::string together = "'-squish' and '-squish10' together: give one of them";
    const std::string late = " stands too late: behind the options come -squish or -squish10, then -r, then the inputs";
    for (const auto& [arguments, fault] :
         {std::pair<std::string, std::string>{"", noOutput},
          {"a", noOutput},
          {"a -out", noOutput},
          {"a -out x b", noOutput},
          {"-out x", "there is no input"},
          {"-- -out x", "there is no input"},
          {"--bogus=\x1B a -out x", "there is no option '--bogus'"},
          {"--b\x1B a -out x", "there is no option '--b\\x1b'"},
          {"--quiet=1 a -out x", "'--quiet' takes no value"},
          {"--quiet --progress a -out x", "'--quiet' and '--progress' contradict each other"},
          {"a --quiet -out x", "'--quiet' stands too late: options come first"},
          {"-squish -squish10 a -out x", together},
          {"-squish10 -squish a -out x", together},
          {"-squish10 -squish10 a -out x", "'-squish10' is given twice"},
          {"a -squish -out x", "'-squish'" + late},
          {"-r sub -squish10 a -out x", "'-squish10'" + late},
          {"a -r sub -out x", "'-r'" + late},
          {"-r -out x", "'-r' needs a directory"},
          {"-x -out x", "'-x' has no place there; for an input of that name give './-x'"},
          {"- a - -out x", "'-', standard input, can be read once only"}}) {
        const ToolResult result = ExactRun()(arguments);
        EXPECT_EQ(result.exitStatus, 255) << result;
        EXPECT_EQ(result.errors, "seamtool: " + fault + "\nTry 'seamtool --exact --help'.\n") << arguments;
    }
}

TEST(ExactCommandLineTest, RunsWhatIsAskedFor) {
    struct Row {
        const char* arguments;
        const char* text;
        const char* file = "x";
    };
    for (const Row& row : {Row{"a b -out x", "abAB"}, Row{"b a -out x", "abAB"}, Row{"a a -out x", "aaAA"},
                           Row{"-squish b a -out x", "baAB"}, Row{"--quiet a -out x", "aA"}, Row{"fine -out x", ""},
                           Row{"-- a -x -out x", "xaA"}, Row{"a -- -x -out x", "xaA"}, Row{"./-x -out x", "x"},
                           Row{"--quiet -squish -r sub -- a -out x", "aA", "sub/x"}, Row{"a -out -o", "aA", "-o"}}) {
        const ExactRun run;
        const ToolResult result = run(row.arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(result.errors + result.output, "") << result;
        EXPECT_EQ(TextOf(run.run.directory.Read(row.file)), row.text) << result;
    }
    for (const auto& [arguments, part] : {std::pair{"--help no more", "-squish10"}, {"--version", "7.0.3205\n"}}) {
        const ToolResult result = ExactRun()(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_NE(result.output.find(part), std::string::npos) << result;
    }
}

TEST(ExactCommandLineTest, DoesWhatTheOptionsSay) {
    struct Row {
        const char* arguments;
        const char* text;
        const char* form = "pcap";
        const char* file = "x";
        const char* errors = "";
    };
    const char* const nanoseconds = "pcap with nanoseconds";
    const Row rows[] = {
        {"--from=@2 a b -out x", "bAB"},
        {"--to=1970-01-01T00:00:03Z a b -out x", "ab"},
        {"--from=@1.000000001 --to=@3.000000001 a b -out x", "bA"},
        {"--from=@4 a -out x", ""},
        {"--snaplen=2 long -out x", "lo"},
        {"--concatenate b a -out x", "bBaA"},
        {"--files-from=lines -out x", "abAB"},
        {"--files-from=zeros b -out x", "abAB"},
        {"--dedup a a b -out x", "abAB", "pcap", "x",
         "seamtool: a: 2 records dropped: equal to records written before\n"},
        {"--dedup --quiet again -out x", "rrrr"},
        {"--dedup=1 --quiet again -out x", "rrr"},  // the third is near to the second, which is not written
        {"--dedup=2 --quiet again -out x", "rr"},
        {"--snaplen=1 --dedup --quiet long longer -out x", "ll"},  // their lengths on the wire differ
        {"--format=pcap nano -out x", "n"},
        {"--format=pcap-ns a -out x", "aA", nanoseconds},
        {"nano -out x", "n", nanoseconds},
        {"--format=pcapng a cooked -out x", "aAk", "pcap-ng"},
        {"a -out x.gz", "aA", "pcap gzip", "x.gz"},
        {"a -out x.zst", "aA", "pcap zstd", "x.zst"},
        {"--compress=zstd --format=pcapng a -out x", "aA", "pcap-ng zstd"},
        {"--compress=none a -out x.gz", "aA", "pcap", "x.gz"},
    };
    for (const Row& row : rows) {
        const ExactRun run;
        CaptureBuilder again;
        for (const int halves : {2, 4, 5, 10}) {
            again.Record(halves / 2, 500000 * (halves % 2), "r");
        }
        run.run.directory.Write("again", again.Bytes());
        run.run.directory.Write("lines", "a\n\nb\n");
        run.run.directory.Write("zeros", "a\0"s);
        run.run.directory.Write("long", CaptureBuilder().Record(4, 0, "long").Bytes());
        run.run.directory.Write("longer", CaptureBuilder().Record(4, 0, "longer").Bytes());
        run.run.directory.Write("nano", CaptureBuilder().Nanoseconds().Record(4, 7, "n").Bytes());
        const ToolResult result = run.run("--exact "s + row.arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(result.errors, row.errors) << result;
        const auto read = velora::capture::ReadWhole(run.run.directory.Read(row.file), {.keepsAllLinkTypes = true});
        std::string form = NameOf(read.traits.format);
        if (read.traits.compression != velora::codec::Compression::kNone) {
            form += " "s + NameOf(read.traits.compression);
        }
        std::string text;
        for (const auto& record : read.Records()) {
            text += record.data;
        }
        EXPECT_EQ(text, row.text) << result;
        EXPECT_EQ(form, row.form) << result;
        EXPECT_FALSE(read.problem) << read.problem->text;
    }
}

TEST(ExactCommandLineTest, NamesWhatIsMissing) {
    const std::string hostile = "\x1B]0;\xFF\\\xC3\xA9\xE2\x80\xAE";
    struct Row {
        std::string arguments;
        int status;
        std::string errors;  // without "seamtool: "
        std::string text;
    };
    const std::string noOutput = "x: not written: no input is a readable capture\n";
    const Row rows[] = {
        {"a cut -out x", 252, "cut: 1 record read, then at byte 41: the file ends inside a record\n", "aAc"},
        {"missing a -out x", 252, "missing: left out: cannot be opened: No such file or directory\n", "aA"},
        {"a sub -out x", 252, "sub: left out: is a directory\n", "aA"},
        {"a text -out x", 252,
         "text: left out: no capture: it begins with 6e 6f 20 63, which is neither pcap nor pcap-ng\n", "aA"},
        {hostile + " a -out x", 252, "\\x1b]0;\\xff\\x5c\xC3\xA9\\xe2\\x80\\xae: left out: no capture: it is empty\n",
         "aA"},
        {"empty -out x", 251, "empty: left out: no capture: it is empty\n" + noOutput, "none"},
        {"a cooked -out x", 251,
         "cooked: its link type is 113 (Linux cooked), that of a is 1 (Ethernet)\n"
         "x: not written: inputs of different link types do not fit into one pcap file, "
         "but with --format=pcapng they do\n",
         "none"},
        {"early -out x", 252, "early: 1 record from before 1970: written with time 0\n", "e"},
        {"mixed -out x", 252,
         "mixed: 1 record left out: link type 113 (Linux cooked) does not fit the output's, 1 (Ethernet)\n"
         "mixed: 1 record from 2106 or later: written with the last time that the output can hold\n"
         "mixed: 1 record with times finer than the output's microseconds: rounded down\n"
         "mixed: names, secrets or comments in it are not taken over\n",
         "fb"},
    };
    for (const Row& row : rows) {
        const ExactRun run;
        run.run.directory.Write(hostile, "");
        PcapNgBuilder early = PcapNgBuilder::Empty().Section();
        early.Interface(1, 0, early.Option(14, std::string(8, '\xFF'))).PacketOf(0, 1, "e");
        PcapNgBuilder mixed = PcapNgBuilder(1, 6).Block(4, "").Packet(std::uint64_t{1} << 63U, "b");
        mixed.Interface(113, 0).PacketOf(1, 7, "k").Interface(1, 0, mixed.Option(9, "\x09")).PacketOf(2, 999, "f");
        run.run.directory.Write("early", early.Bytes());
        run.run.directory.Write("mixed", mixed.Bytes());
        ToolResult result = run.run("--exact " + row.arguments);
        std::string expected = row.errors;
        for (std::size_t at = 0; at < expected.size(); at = expected.find('\n', at) + 1) {
            expected.insert(at, "seamtool: ");
        }
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_EQ(result.errors, expected) << row.arguments;
        EXPECT_EQ(TextOf(run.run.directory.Read("x")), row.text) << result;
    }
}

TEST(ExactCommandLineTest, CountsInputsForWhatTheyHold) {
    PcapNgBuilder net = PcapNgBuilder::Empty().Section();
    net.Interface(101, 0, net.Option(14, std::string(8, '\xFF')))
        .PacketOf(0, 1, "\x45\0\0\x14\0\0\0\0\x40\x11\0\0\xC0\xA8\1\1\xC0\xA8\1\2"s);
    for (const auto& [arguments, status, errors] :
         {std::tuple{"-squish10 net -out x", 252,  // eleven in the output
                     "seamtool: net: 1 record from before 1970: written with time 0\n"},
          {"--format=pcapng a wide -out x", 0, ""},  // no record has that link type
          {"--format=pcapng a wider -out x", 251,
           "seamtool: wider: its link type is 70000\n"
           "seamtool: x: not written: pcap-ng has no room for such a link type\n"}}) {
        const ExactRun run;
        run.run.directory.Write("net", net.Bytes());
        run.run.directory.Write("wide", CaptureBuilder().LinkType(70000).Bytes());
        run.run.directory.Write("wider", CaptureBuilder().LinkType(70000).Record(1, 0, "w").Bytes());
        const ToolResult result = run.run("--exact "s + arguments);
        EXPECT_EQ(result.exitStatus, status) << result;
        EXPECT_EQ(result.errors, errors) << result;
    }
}

TEST(ExactCommandLineTest, GivesTheOutputAFormThatFitsAllInputs) {
    struct Row {
        const char* inputs;
        CaptureBuilder header;
    };
    for (const Row& row : {Row{"a", CaptureBuilder()}, Row{"a fine", CaptureBuilder().Nanoseconds().SnapLen(300000)},
                           Row{"fine", CaptureBuilder().Nanoseconds().SnapLen(300000)},
                           Row{"cooked fine", CaptureBuilder().Nanoseconds().SnapLen(300000).LinkType(0x1C000071)},
                           Row{"next", CaptureBuilder()}, Row{"cooked plain", CaptureBuilder().LinkType(113)}}) {
        const ExactRun run;
        run.run.directory.Write("next", PcapNgBuilder::Empty().Section().Bytes());
        run.run.directory.Write("plain", CaptureBuilder().LinkType(113).Record(6, 0, "p").Bytes());
        EXPECT_EQ(run(row.inputs + " -out x"s).exitStatus, 0);
        CaptureBuilder header = row.header;
        header.SnapLen(std::string(row.inputs).find("fine") == std::string::npos ? 262144 : 300000);
        EXPECT_TRUE(run.run.directory.Read("x").starts_with(header.Bytes())) << row.inputs;
    }
}

TEST(ExactCommandLineTest, RefusesInItsOrder) {
    for (const auto& [arguments, status, error] :
         {std::tuple{"-r gone missing -out a", 255, "gone: cannot be entered: No such file or directory"},
          {"missing -out a", 254, "a: exists already"},
          {"a -out sub", 254, "sub: exists already"},
          {"a -out dangling", 254, "dangling: exists already"},
          {"a -out sub/../a", 254, "sub/../a: exists already"},
          {"a fifo -out fifo", 254, "fifo: it is one of the inputs"},
          {"missing -out gone/x", 253, "gone/x: No such file or directory"},
          {"missing -out a/x", 253, "a/x: Not a directory"}}) {
        const ExactRun run;
        const std::string content = run.run.directory.Read("a");
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.exitStatus, status) << result;
        EXPECT_EQ(result.errors, "seamtool: "s + error + "\n") << result;
        EXPECT_EQ(run.run.directory.Read("a"), content);
    }
}

void Become(const char* path, int flags, int descriptor) {
    dup2(open(path, flags | O_CLOEXEC), descriptor);
}

// A pipe that nobody reads.
void Abandon(int descriptor) {
    int ends[2];
    static_cast<void>(!pipe(ends));
    dup2(ends[1], descriptor);
    close(ends[0]);
    close(ends[1]);
}

void BecomeTerminal(int descriptor) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);  // stays open in the tool
    unlockpt(master);
    Become(ptsname(master), O_RDWR | O_NOCTTY, descriptor);
}

TEST(ExactCommandLineTest, UsesStandardStreamsAsTheyAre) {
    struct Row {
        const char* arguments;
        std::function<void()> prepare;
        int status;  // or minus a signal
        const char* errors;
        const char* text;           // of standard output
        const char* file = "none";  // and of x
    };
    const Row rows[] = {
        {"- -out -", [] { Become("b", O_RDONLY, 0); }, 0, "", "bB"},
        {"- b -out x", [] { Become("a", O_RDONLY, 0); }, 0, "", "none", "abAB"},
        {"- -out x", [] { Become("sub", O_RDONLY, 0); }, 251,
         "seamtool: standard input: left out: is a directory\n"
         "seamtool: x: not written: no input is a readable capture\n",
         "none"},
        {"- a -out x", [] { close(0); }, 252, "seamtool: standard input: left out: Bad file descriptor\n", "none",
         "aA"},
        {"- -out x", [] { BecomeTerminal(0); }, 255,
         "seamtool: standard input is a terminal, which gives no capture\nTry 'seamtool --exact --help'.\n", "none"},
        {"a -out -", [] { BecomeTerminal(1); }, 255,
         "seamtool: standard output is a terminal, which a capture would upset: redirect it\n"
         "Try 'seamtool --exact --help'.\n",
         "none"},
        {"- -out -", [] { Become("a", O_RDWR, 0), dup2(0, 1); }, 254,
         "seamtool: standard output: it is one of the inputs\n", "none"},
        {"a -out -", [] { close(1); }, 253, "seamtool: standard output: is closed\n", "none"},
        {"--help", [] { close(1); }, 253, "seamtool: standard output: is closed\n", "none"},
        {"--help", [] { Become("/dev/full", O_WRONLY, 1); }, 253,
         "seamtool: standard output: No space left on device\n", "none"},
        {"a -out -", [] { Become("/dev/full", O_WRONLY, 1); }, 253,
         "seamtool: standard output: No space left on device\n", "none"},
        {"b -out -", [] { Become("a", O_RDONLY, 1); }, 253, "seamtool: standard output: Bad file descriptor\n", "none"},
        {"a b -out x", [] { close(0), close(1), close(2); }, 0, "", "none", "abAB"},
        {"a -out -", [] { Abandon(1); }, -SIGPIPE, "", "none"},
        {"--help", [] { Abandon(1); }, -SIGPIPE, "", "none"},
        {"a -out -", [] { std::signal(SIGPIPE, SIG_IGN), Abandon(1); }, 253, "seamtool: standard output: Broken pipe\n",
         "none"},
        {"a cut -out x", [] { Abandon(2); }, 252, "", "none", "aAc"},
        {"a", [] { Abandon(2); }, 255, "", "none"},
    };
    for (const Row& row : rows) {
        ExactRun run;
        run.run.prepare = row.prepare;
        const ToolResult result = run.run("--exact "s + row.arguments);
        EXPECT_EQ(result.signal > 0 ? -result.signal : result.exitStatus, row.status) << result;
        EXPECT_EQ(result.errors, row.errors) << result;
        EXPECT_EQ(TextOf(result.output), row.text) << result;
        EXPECT_EQ(TextOf(run.run.directory.Read("x")), row.file) << result;
    }
}

// The tool reads a FIFO, and has looked at all else, when `meanwhile` is called: with its number, and with the FIFO.
ToolResult RunWithFifo(ExactRun& run, const std::string& arguments, const std::function<void(pid_t, int)>& meanwhile) {
    const TempDir aside;
    const std::string pidPath = aside / "pid";
    const auto prepare = run.run.prepare;
    run.run.prepare = [=] {
        std::ofstream(pidPath) << getpid();
        prepare();
    };
    std::jthread peer([&] {
        std::signal(SIGPIPE, SIG_IGN);
        const int fifo = open(run.run.directory.Path("fifo").c_str(), O_WRONLY | O_CLOEXEC);
        meanwhile(std::stoi(aside.Read("pid")), fifo);
        close(fifo);
    });
    ToolResult result = run.run("--exact " + arguments);
    const int reader = open(run.run.directory.Path("fifo").c_str(), O_RDONLY | O_NONBLOCK);
    peer.join();  // it may still have waited for one
    close(reader);
    return result;
}

void Send(int fifo, const std::string& bytes) {
    EXPECT_EQ(write(fifo, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

TEST(ExactCommandLineTest, EndsBySignalsAndLeavesNothing) {
    const std::string bytes = CaptureBuilder().Record(5, 0, "f").Bytes();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const bool isIgnored : {false, true}) {
            ExactRun run;
            run.run.prepare = [=] { std::signal(signal, isIgnored ? SIG_IGN : SIG_DFL); };
            const ToolResult result = RunWithFifo(run, "a fifo -out x", [&](pid_t tool, int fifo) {
                Send(fifo, bytes.substr(0, 30));
                kill(tool, signal);
                if (isIgnored) {
                    Send(fifo, bytes.substr(30));
                }
            });
            EXPECT_EQ(result.signal, isIgnored ? 0 : signal) << result;
            EXPECT_EQ(result.errors, "");
            EXPECT_FALSE(result.hasLeftLog);
            EXPECT_EQ(TextOf(run.run.directory.Read("x")), isIgnored ? "aAf" : "none") << result;
            EXPECT_EQ(run.Names().size(), run.before.size() + (isIgnored ? 1 : 0)) << result;
        }
    }
}

TEST(ExactCommandLineTest, LeavesAloneWhatComesIntoBeingDuringTheRun) {
    ExactRun run;
    const ToolResult result = RunWithFifo(run, "a fifo -out x", [&](pid_t /*tool*/, int fifo) {
        run.run.directory.Write("x", "somebody else's");
        Send(fifo, CaptureBuilder().Record(2, 0, "f").Bytes());
    });
    EXPECT_EQ(result.exitStatus, 254) << result;
    EXPECT_EQ(result.errors, "seamtool: x: came into being during the run; the finished capture is x.1\n");
    EXPECT_EQ(run.run.directory.Read("x"), "somebody else's");
    EXPECT_EQ(TextOf(run.run.directory.Read("x.1")), "afA");
}

// More of them than workers, all open, and the last one speaks first.
TEST(ExactCommandLineTest, WaitsForManyPipesAtOnce) {
    const ExactRun run;
    std::string names;
    for (char name = 'A'; name <= 'Z'; ++name) {
        names += "sub/fifo"s + name + ' ';
        mkfifo(run.run.directory.Path("sub/fifo"s + name).c_str(), 0600);
    }
    std::jthread peer([&] {
        std::vector<int> fifos;
        for (char name = 'A'; name <= 'Z'; ++name) {
            fifos.push_back(open(run.run.directory.Path("sub/fifo"s + name).c_str(), O_WRONLY | O_CLOEXEC));
        }
        for (char name = 'Z'; name >= 'A'; --name) {
            Send(fifos.back(), CaptureBuilder().Record(1, 0, {&name, 1}).Bytes());
            close(fifos.back());
            fifos.pop_back();
        }
    });
    EXPECT_EQ(run(names + "-out x").exitStatus, 0);
    EXPECT_EQ(TextOf(run.run.directory.Read("x")), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST(ExactCommandLineTest, TakesAFileThatIsTooLargeForAFailedWrite) {
    ExactRun run;
    run.run.directory.Write("large", CaptureBuilder().Record(1, 0, std::string(50000, 'l')).Bytes());
    run.before = run.Names();
    run.run.prepare = [] {
        const rlimit limit{.rlim_cur = 4096, .rlim_max = 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_DFL);
    };
    const ToolResult result = run("large -out x");
    EXPECT_EQ(result.exitStatus, 253) << result;
    EXPECT_EQ(result.errors, "seamtool: x: File too large\n");
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
    run.run.directory.Write("long", Gzip(capture()));
    const ToolResult result = run.run("--exact long -out x");
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_TRUE(run.run.directory.Read("x") == capture());
    EXPECT_TRUE(IS_SANITIZED || result.peakKilobytes < static_cast<long>(3 * kLong >> 10U)) << result.peakKilobytes;
}

// From far too few to enough: each number of descriptors ends in one of two ways.
TEST(ExactCommandLineTest, CountsDescriptorsWhenThereAreTooFew) {
    if (IS_SANITIZED) {
        GTEST_SKIP() << "the sanitizers' checks take descriptors, too";
    }
    bool hasRefused = false;
    bool isEnough = false;
    for (rlim_t most = 22; !isEnough; ++most) {
        ExactRun run;
        run.run.prepare = [=] {
            const rlimit limit{.rlim_cur = 10, .rlim_max = most};
            setrlimit(RLIMIT_NOFILE, &limit);
        };
        const ToolResult result = RunWithFifo(run, "a a a a a a a a a a a a a a a fifo -out x", [](pid_t, int fifo) {
            const std::string bytes = CaptureBuilder().Record(0, 0, "f").Bytes();
            static_cast<void>(!write(fifo, bytes.data(), bytes.size()));
        });
        isEnough = result.exitStatus == 0;
        hasRefused |= !isEnough;
        if (!isEnough) {
            ASSERT_EQ(result.exitStatus, 251) << result;
            const std::string start = "seamtool: x: there are 16 inputs, and descriptors for ";
            ASSERT_TRUE(result.errors.starts_with(start)) << result;
            ASSERT_LT(std::stoi(result.errors.substr(start.size())), 16) << result;
        } else {
            EXPECT_EQ(TextOf(run.run.directory.Read("x")), "f" + std::string(15, 'a') + std::string(15, 'A'));
        }
    }
    EXPECT_TRUE(hasRefused);
}

TEST(ShownTextTest, ShowsEveryByteThatCouldDeceive) {
    for (const auto& [text, shown] : {std::pair{"plain / text"s, "plain / text"s},
                                      {"\x1F\x20\x7E\x7F", "\\x1f ~\\x7f"},
                                      {"a\\x41", "a\\x5cx41"},
                                      {"\0"s, "\\x00"},
                                      {"\xC2\x80\xC2\x9F\xC2\xA0", "\\xc2\\x80\\xc2\\x9f\xC2\xA0"},
                                      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82"},
                                      {"\xC3", "\\xc3"},
                                      {"\xC3(", "\\xc3("},
                                      {"\xE2\x82", "\\xe2\\x82"},
                                      {"\x80", "\\x80"},
                                      {"\xC1\xBF", "\\xc1\\xbf"},
                                      {"\xE0\x9F\xBF", "\\xe0\\x9f\\xbf"},
                                      {"\xE0\xA0\x80", "\xE0\xA0\x80"},
                                      {"\xED\x9F\xBF", "\xED\x9F\xBF"},
                                      {"\xED\xA0\x80", "\\xed\\xa0\\x80"},
                                      {"\xF0\x8F\xBF\xBF", "\\xf0\\x8f\\xbf\\xbf"},
                                      {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
                                      {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
                                      {"\xF5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
                                      {"\xD8\x9B\xD8\x9C\xD8\x9D", "\xD8\x9B\\xd8\\x9c\xD8\x9D"},
                                      {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90",
                                       "\xE2\x80\x8D\\xe2\\x80\\x8e\\xe2\\x80\\x8f\xE2\x80\x90"},
                                      {"\xE2\x80\xA9\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF",
                                       "\xE2\x80\xA9\\xe2\\x80\\xaa\\xe2\\x80\\xae\xE2\x80\xAF"},
                                      {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA",
                                       "\xE2\x81\xA5\\xe2\\x81\\xa6\\xe2\\x81\\xa9\xE2\x81\xAA"}}) {
        EXPECT_EQ(velora::utils::ShownText(text), shown);
    }
}

}  // namespace
