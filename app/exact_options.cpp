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

// Every option, in the order of the help.
struct OptionText {
    std::string_view name;
    std::string_view value;  // how the help shows it; empty: the option takes none
    bool isValueOptional;
    const char* help;
};

constexpr OptionText kOptions[] = {
    {"--from", "=TIME", false, "only records at TIME or later, as captured"},
    {"--to", "=TIME", false, "only records before TIME"},
    {"--snaplen", "=N", false, "cut captured bytes to N, 1 to 262144"},
    {"--dedup", "[=SECONDS]", true,
     "drop a record equal to one written at most SECONDS before (0: at the same time)"},
    {"--concatenate", "", false, "input after input, as named, not by time"},
    {"--files-from", "=FILE", false,
     "more inputs: a path a line, or between zero bytes; - for standard input"},
    {"--format", "=FORMAT", false,
     "pcap (microseconds), pcap-ns or pcapng, which holds several link types"},
    {"--compress", "=HOW", false,
     "gzip, zstd or none; without it an outfile in .gz or .zst is compressed so"},
    {"--report", "=FILE", false,
     "write what happened into FILE, a new one ending in .json or .html"},
    {"--progress", "", false, "show progress and a summary on any standard error"},
    {"--quiet", "", false, "show neither, and no notes; problems are told all the same"},
    {"--help", "", false, "print this"},
    {"--version", "", false, "print the version"},
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
        const auto* const option = std::ranges::find(kOptions, name, &OptionText::name);
        if (option == std::end(kOptions)) {
            return Fail("there is no option " + Quoted(name));
        }
        const bool hasValue = equals != std::string_view::npos;
        const std::string_view value = hasValue ? word.substr(equals + 1) : std::string_view();
        if (hasValue && option->value.empty()) {
            return Fail("'" + std::string(name) + "' takes no value");
        }
        if (value.empty() && !option->value.empty() && (hasValue || !option->isValueOptional)) {
            return Fail("'" + std::string(name) + "' needs a value: '" + std::string(name) +
                        std::string(option->value) + "'");
        }
        if (name != "--files-from" && !option->value.empty() && !m_Given.insert(name).second) {
            return Fail("'" + std::string(name) + "' is given twice");
        }
        m_Options.words.emplace_back(word);
        if (!Apply(name, value)) {
            Fail("'" + std::string(name) + "' does not take " + Quoted(value) +
                 (name == "--report" ? ", only a name that ends in .json or .html" : ""));
        }
    }

    // False for a value that the option does not take.
    bool Apply(std::string_view name, std::string_view value) {
        ExactJob& job = m_Options.job;
        if (name == "--help") {
            m_Options.wish = ExactOptions::Wish::kHelp;
        } else if (name == "--version") {
            m_Options.wish = ExactOptions::Wish::kVersion;
        } else if (name == "--quiet") {
            m_Options.isQuiet = true;
        } else if (name == "--progress") {
            m_Options.showsProgress = true;
        } else if (name == "--concatenate") {
            job.mode = Mode::kConcatenate;
        } else if (name == "--files-from") {
            m_Options.lists.emplace_back(value);
        } else if (name == "--from") {
            return ApplyTime(value, m_From);
        } else if (name == "--to") {
            return ApplyTime(value, m_To);
        } else if (name == "--dedup") {
            job.duplicateWindow = value.empty() ? 0 : velora::utils::ParseSeconds(value);
            return job.duplicateWindow.has_value();
        } else if (name == "--snaplen") {
            return ApplySnapLen(value);
        } else if (name == "--format") {
            return ApplyFormat(value);
        } else if (name == "--compress") {
            return ApplyCompression(value);
        } else if (name == "--report") {
            job.report = value;
            return value.ends_with(".json") || value.ends_with(".html");
        } else {
            return false;
        }
        return true;
    }

    static bool ApplyTime(std::string_view value, std::optional<std::int64_t>& time) {
        time = velora::utils::ParseTime(value);
        return time.has_value();
    }

    bool ApplySnapLen(std::string_view value) {
        constexpr std::uint32_t kMost = 262144;
        std::uint32_t& snapLen = m_Options.job.snapLen;
        const char* const end = value.data() + value.size();
        const auto parsed = std::from_chars(value.data(), end, snapLen);
        return parsed.ec == std::errc() && parsed.ptr == end && snapLen >= 1 && snapLen <= kMost;
    }

    bool ApplyFormat(std::string_view value) {
        constexpr std::pair<std::string_view, OutputFormat> kFormats[] = {
            {"pcap", OutputFormat::kPcap},
            {"pcap-ns", OutputFormat::kPcapNanoseconds},
            {"pcapng", OutputFormat::kPcapNg}};
        for (const auto& [name, format] : kFormats) {
            if (name == value) {
                m_Options.job.format = format;
                return true;
            }
        }
        return false;
    }

    bool ApplyCompression(std::string_view value) {
        for (const Compression known :
             {Compression::kNone, Compression::kGzip, Compression::kZstd}) {
            if (NameOf(known) == value) {
                m_Compression = known;
                return true;
            }
        }
        return false;
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
        if (m_From && m_To && *m_From > *m_To) {
            Fail("'--from' is later than '--to'");
        }
        job.earliest = m_From.value_or(job.earliest);
        if (m_To) {
            // Times before the earliest that there can be: none.
            const bool isFirst = *m_To == std::numeric_limits<std::int64_t>::min();
            job.latest = isFirst ? *m_To : *m_To - 1;
            job.earliest = isFirst ? *m_To + 1 : job.earliest;
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
        m_Options.job.compression = m_Compression.value_or(named);
        if (named != Compression::kNone && m_Compression && *m_Compression != named &&
            *m_Compression != Compression::kNone) {
            Fail(std::string("'--compress=") + NameOf(*m_Compression) + "' contradicts the name " +
                 Quoted(m_Options.job.output));
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
        if (std::ranges::find(kOptions, name, &OptionText::name) != std::end(kOptions)) {
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
    ExactOptions m_Options;
    std::set<std::string_view> m_Given;  // options with a value
    std::optional<std::int64_t> m_From;
    std::optional<std::int64_t> m_To;
    std::optional<Compression> m_Compression;
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
    for (const OptionText& option : kOptions) {
        std::string name(option.name);
        name += option.value;
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
