#include "app/exact_options.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "velora/utils/shown_text.h"
#include "velora/utils/time_argument.h"

namespace {

using velora::codec::Compression;
using velora::exact::ExactJob;
using velora::exact::Mode;
using velora::exact::OutputFormat;
using velora::utils::ShownText;
using velora::utils::TimeFault;
using velora::utils::TimeOfTwo;

// What the options have said so far.
struct Given {
    ExactOptions options;
    std::optional<std::int64_t> from;
    std::optional<std::int64_t> to;
    std::optional<Compression> compression;
};

// Why an option does not take a value, as it stands behind "does not take 'value'".
struct ValueFault {
    std::string_view why;
};
using Taken = std::optional<ValueFault>;  // nothing: the value was taken
constexpr ValueFault kNoSuchValue{""};

Taken TakenIf(bool isTaken) {
    return isTaken ? Taken() : kNoSuchValue;
}

Taken TakeTime(std::string_view value, TimeOfTwo ofTwo, std::optional<std::int64_t>& time) {
    const auto parsed = velora::utils::ParseTime(value, ofTwo);
    if (const auto* const fault = std::get_if<TimeFault>(&parsed)) {
        return ValueFault{*fault == TimeFault::kNeverOccurs ? ": this local time never occurs"
                                                            : ""};
    }
    time = std::get<std::int64_t>(parsed);
    return {};
}

// Of a time that occurs twice --from and --to mean the one that leaves both in between.
Taken TakeFrom(Given& given, std::string_view value) {
    return TakeTime(value, TimeOfTwo::kEarlier, given.from);
}

Taken TakeTo(Given& given, std::string_view value) {
    return TakeTime(value, TimeOfTwo::kLater, given.to);
}

Taken TakeSnapLen(Given& given, std::string_view value) {
    constexpr std::uint32_t kMost = 262144;
    std::uint32_t& snapLen = given.options.job.snapLen;
    const char* const end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, snapLen);
    return TakenIf(parsed.ec == std::errc() && parsed.ptr == end && snapLen >= 1 &&
                   snapLen <= kMost);
}

Taken TakeDedup(Given& given, std::string_view value) {
    std::optional<std::int64_t>& window = given.options.job.duplicateWindow;
    window = value.empty() ? 0 : velora::utils::ParseSeconds(value);
    return TakenIf(window.has_value());
}

Taken TakeConcatenate(Given& given, std::string_view /*value*/) {
    given.options.job.mode = Mode::kConcatenate;
    return {};
}

Taken TakeList(Given& given, std::string_view value) {
    given.options.lists.emplace_back(value);
    return {};
}

Taken TakeFormat(Given& given, std::string_view value) {
    constexpr std::pair<std::string_view, OutputFormat> kFormats[] = {
        {"pcap", OutputFormat::kPcap},
        {"pcap-ns", OutputFormat::kPcapNanoseconds},
        {"pcapng", OutputFormat::kPcapNg}};
    for (const auto& [name, format] : kFormats) {
        if (name == value) {
            given.options.job.format = format;
            return {};
        }
    }
    return kNoSuchValue;
}

Taken TakeCompression(Given& given, std::string_view value) {
    for (const Compression known : {Compression::kNone, Compression::kGzip, Compression::kZstd}) {
        if (NameOf(known) == value) {
            given.compression = known;
            return {};
        }
    }
    return kNoSuchValue;
}

Taken TakeReport(Given& given, std::string_view value) {
    given.options.job.report = value;
    if (value.ends_with(".json") || value.ends_with(".html")) {
        return {};
    }
    return ValueFault{", only a name that ends in .json or .html"};
}

Taken TakeProgress(Given& given, std::string_view /*value*/) {
    given.options.showsProgress = true;
    return {};
}

Taken TakeQuiet(Given& given, std::string_view /*value*/) {
    given.options.isQuiet = true;
    return {};
}

Taken TakeHelp(Given& given, std::string_view /*value*/) {
    given.options.wish = ExactOptions::Wish::kHelp;
    return {};
}

Taken TakeVersion(Given& given, std::string_view /*value*/) {
    given.options.wish = ExactOptions::Wish::kVersion;
    return {};
}

enum class Value : std::uint8_t {
    kNone,
    kNeeded,
    kOptional,
    kEachTime,  // needed, and the option may be repeated
};

// What an option is called, takes, says in the help and does.
struct Option {
    std::string_view name;
    Value value;
    std::string_view shownValue;  // as it stands behind the name in the help
    const char* help;
    Taken (*take)(Given& given, std::string_view value);  // an empty value where there is none
};

// Every option, in the order of the help.
constexpr Option kOptions[] = {
    {"--from", Value::kNeeded, "=TIME", "only records at TIME or later, as captured", TakeFrom},
    {"--to", Value::kNeeded, "=TIME", "only records before TIME", TakeTo},
    {"--snaplen", Value::kNeeded, "=N", "cut captured bytes to N, 1 to 262144", TakeSnapLen},
    {"--dedup", Value::kOptional, "[=SECONDS]",
     "drop a record equal to one written at most SECONDS before (0: at the same time)", TakeDedup},
    {"--concatenate", Value::kNone, "", "input after input, as named, not by time",
     TakeConcatenate},
    {"--files-from", Value::kEachTime, "=FILE",
     "more inputs: a path a line, or between zero bytes; - for standard input", TakeList},
    {"--format", Value::kNeeded, "=FORMAT",
     "pcap (microseconds), pcap-ns or pcapng, which holds several link types", TakeFormat},
    {"--compress", Value::kNeeded, "=HOW",
     "gzip, zstd or none; without it an outfile in .gz or .zst is compressed so", TakeCompression},
    {"--report", Value::kNeeded, "=FILE",
     "write what happened into FILE, a new one ending in .json or .html", TakeReport},
    {"--progress", Value::kNone, "", "show progress and a summary on any standard error",
     TakeProgress},
    {"--quiet", Value::kNone, "", "show neither, and no notes; problems are told all the same",
     TakeQuiet},
    {"--help", Value::kNone, "", "print this", TakeHelp},
    {"--version", Value::kNone, "", "print the version", TakeVersion},
};

constexpr std::size_t kHelpColumn = 21;

class Parser {
 public:
    explicit Parser(std::span<char*> words) : m_Words(words.begin(), words.end()) {}

    std::variant<ExactOptions, std::string> Parse() {
        while (m_Fault.empty() && m_Options.wish == ExactOptions::Wish::kRun && IsOption()) {
            ReadOption(m_Words[m_Next++]);
        }
        if (m_Fault.empty() && m_Options.wish == ExactOptions::Wish::kRun) {
            ReadOperands();
        }
        if (!m_Fault.empty()) {
            return std::move(m_Fault);
        }
        return std::move(m_Options);
    }

 private:
    [[nodiscard]] bool IsOption() const {
        return m_Next < m_Words.size() && m_Words[m_Next].starts_with("--") &&
               m_Words[m_Next].size() > 2;
    }

    void Fail(std::string fault) {
        if (m_Fault.empty()) {
            m_Fault = std::move(fault);
        }
    }

    static std::string Quoted(std::string_view word) { return "'" + ShownText(word) + "'"; }

    void ReadOption(std::string_view word) {
        const std::size_t equals = word.find('=');
        const std::string_view name = word.substr(0, equals);
        const auto* const option = std::ranges::find(kOptions, name, &Option::name);
        if (option == std::end(kOptions)) {
            return Fail("there is no option " + Quoted(name));
        }
        const bool hasValue = equals != std::string_view::npos;
        const std::string_view value = hasValue ? word.substr(equals + 1) : std::string_view();
        const std::string quoted = "'" + std::string(name) + "'";
        if (hasValue && option->value == Value::kNone) {
            return Fail(quoted + " takes no value");
        }
        const bool isBare = !hasValue && option->value == Value::kOptional;
        if (value.empty() && option->value != Value::kNone && !isBare) {
            return Fail(quoted + " needs a value: '" + std::string(name) +
                        std::string(option->shownValue) + "'");
        }
        const bool isOnce = option->value == Value::kNeeded || option->value == Value::kOptional;
        if (isOnce && !m_OnceGiven.insert(name).second) {
            return Fail(quoted + " is given twice");
        }
        m_Options.words.emplace_back(word);
        if (const Taken fault = option->take(m_Given, value)) {
            Fail(quoted + " does not take " + Quoted(value) + std::string(fault->why));
        }
    }

    // What cannot be said of one option alone.
    void CheckTogether() {
        ExactJob& job = m_Options.job;
        const bool isSquish = IsSquish(job.mode);
        if (m_Options.isQuiet && m_Options.showsProgress) {
            Fail("'--quiet' and '--progress' contradict each other");
        }
        if (job.duplicateWindow && (isSquish || job.mode == Mode::kConcatenate)) {
            Fail("'--dedup' goes with a merge by time only");
        }
        if (m_Given.from && m_Given.to && *m_Given.from > *m_Given.to) {
            Fail("'--from' is later than '--to'");
        }
        job.earliest = m_Given.from.value_or(job.earliest);
        if (m_Given.to) {
            // Times before the earliest that there can be: none.
            const bool isFirst = *m_Given.to == std::numeric_limits<std::int64_t>::min();
            job.latest = isFirst ? *m_Given.to : *m_Given.to - 1;
            job.earliest = isFirst ? *m_Given.to + 1 : job.earliest;
        }
        const bool isOfLists = std::ranges::find(m_Options.lists, "-") != m_Options.lists.end();
        if (isOfLists && m_HasStandardInput) {
            Fail("'--files-from=-' and the input '-' both want standard input");
        }
        ChooseCompression();
    }

    void ChooseCompression() {
        constexpr std::pair<std::string_view, Compression> kEndings[] = {
            {".gz", Compression::kGzip}, {".zst", Compression::kZstd}};
        Compression named = Compression::kNone;
        for (const auto& [ending, compression] : kEndings) {
            if (m_Options.job.output.ends_with(ending)) {
                named = compression;
            }
        }
        m_Options.job.compression = m_Given.compression.value_or(named);
        if (named != Compression::kNone && m_Given.compression && *m_Given.compression != named &&
            *m_Given.compression != Compression::kNone) {
            Fail(std::string("'--compress=") + NameOf(*m_Given.compression) +
                 "' contradicts the name " + Quoted(m_Options.job.output));
        }
    }

    void ReadOperands() {
        if (m_Words.size() < m_Next + 2 || m_Words[m_Words.size() - 2] != "-out") {
            return Fail("the last two words are not '-out' and an output file");
        }
        m_Options.job.output = m_Words.back();
        m_Words.resize(m_Words.size() - 2);
        ReadMode();
        ReadHomeDirectory();
        ReadInputs();
        CheckTogether();
    }

    [[nodiscard]] bool IsNext(std::string_view word) const {
        return m_Next < m_Words.size() && m_Words[m_Next] == word;
    }

    void ReadMode() {
        const bool isSquish = IsNext("-squish");
        if (!isSquish && !IsNext("-squish10")) {
            return;
        }
        m_Next += 1;
        if (m_Options.job.mode == Mode::kConcatenate) {
            Fail("'--concatenate' does not go with a squish");
        }
        m_Options.job.mode = isSquish ? Mode::kSquish : Mode::kSquish10;
        if (IsNext(isSquish ? "-squish" : "-squish10")) {
            Fail(Quoted(m_Words[m_Next]) + " is given twice");
        } else if (IsNext("-squish") || IsNext("-squish10")) {
            Fail("'-squish' and '-squish10' together: give one of them");
        }
    }

    void ReadHomeDirectory() {
        if (!IsNext("-r")) {
            return;
        }
        if (m_Next + 1 == m_Words.size()) {
            return Fail("'-r' needs a directory");
        }
        m_Options.homeDirectory = m_Words[m_Next + 1];
        if (m_Options.homeDirectory.empty()) {
            Fail("'-r' needs a directory");
        }
        m_Next += 2;
    }

    void ReadInputs() {
        bool areAllInputs = false;
        for (; m_Next < m_Words.size(); ++m_Next) {
            const std::string_view word = m_Words[m_Next];
            if (!areAllInputs && word == "--") {
                areAllInputs = true;
                continue;
            }
            if (!areAllInputs && word.size() > 1 && word.front() == '-') {
                return Fail(FaultOf(word));
            }
            const bool isStandardInput = word == "-";
            if (isStandardInput && std::exchange(m_HasStandardInput, true)) {
                return Fail("'-', standard input, can be read once only");
            }
            m_Options.job.inputs.push_back({std::string(word), isStandardInput});
        }
        if (m_Options.job.inputs.empty() && m_Options.lists.empty()) {
            Fail("there is no input");
        }
    }

    static std::string FaultOf(std::string_view word) {
        const std::string_view name = word.substr(0, word.find('='));
        if (std::ranges::find(kOptions, name, &Option::name) != std::end(kOptions)) {
            return Quoted(word) + " stands too late: options come first";
        }
        if (word == "-squish" || word == "-squish10" || word == "-r") {
            return Quoted(word) +
                   " stands too late: behind the options come -squish or -squish10, "
                   "then -r, then the inputs";
        }
        return Quoted(word) + " has no place there; for an input of that name give " +
               Quoted("./" + std::string(word));
    }

    std::vector<std::string_view> m_Words;
    std::size_t m_Next = 0;
    Given m_Given;
    ExactOptions& m_Options = m_Given.options;
    std::set<std::string_view> m_OnceGiven;  // options that stand once only
    bool m_HasStandardInput = false;
    std::string m_Fault;
};

}  // namespace

std::variant<ExactOptions, std::string> ParseExactOptions(std::span<char*> words) {
    return Parser(words).Parse();
}

std::string ExactHelp() {
    std::string text =
        "Usage: seamtool --exact [--option ...] [-squish | -squish10] [-r home-dir] [--]\n"
        "                        input ... -out outfile\n"
        "\n"
        "Writes the records of several packet captures into one, in time order, or tells what is\n"
        "missing. An input is a file, a pipe, or - for standard input; outfile is a file that "
        "does\n"
        "not exist yet, a pipe, or - for standard output. It appears when it is complete.\n"
        "\n"
        "Modes:\n"
        "  (none)      merge: by time to the nanosecond; among equals the input named first\n"
        "  -squish     move every input to start with the first record of the first input\n"
        "  -squish10   the same, and follow each IPv4 packet of 192.168/16 by ten copies in\n"
        "              10.0/16 to 10.9/16, with right checksums\n"
        "  -r DIR      change to DIR before any path is looked at\n"
        "\n"
        "Options, in front of everything else:\n";
    for (const Option& option : kOptions) {
        std::string name(option.name);
        name += option.shownValue;
        name.resize(std::max<std::size_t>(name.size() + 2, kHelpColumn), ' ');
        text += "  " + name + option.help + "\n";
    }
    text +=
        "\n"
        "TIME is 2026-11-21T12:00:00 with a fraction of up to nine digits and Z or +01:00 behind "
        "it\n"
        "(without: local time), or @seconds[.fraction] since 1970.\n"
        "\n"
        "Formats, told by content: pcap with microseconds or nanoseconds, pcap-ng; as they are or\n"
        "in gzip, bzip2, xz, zstd or lz4.\n"
        "\n"
        "Status:\n"
        "    0  every record is in the output, in time order\n"
        "  252  written, but something is missing, doubtful or out of place: each is named\n"
        "  251  nothing to write: no input is a readable capture, or they do not fit together\n"
        "  253  the output cannot be created or written; none is left\n"
        "  254  the output exists already, or is one of the inputs; it is untouched\n"
        "  255  wrong command line\n"
        "\n"
        "Examples:\n"
        "  seamtool --exact monday.pcap tuesday.pcap.gz router.pcapng -out week.pcap\n"
        "  zcat old.pcap.gz | seamtool --exact - new.pcap -out - | tcpdump -n -r -\n";
    return text;
}
