#include "app/exact_options.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "app/shown_text.h"

namespace {

using velora::exact::Mode;

// Every option, in the order of the help. Null: the option takes no value.
struct OptionText {
    std::string_view name;
    const char* value;
    const char* help;
};

constexpr OptionText kOptions[] = {
    {"--progress", nullptr, "show how far the run is, and a summary, on any standard error"},
    {"--quiet", nullptr, "show neither, and no notes; problems are told all the same"},
    {"--help", nullptr, "print this"},
    {"--version", nullptr, "print the version"},
};

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
        std::optional<std::string_view> value;
        if (equals != std::string_view::npos) {
            value = word.substr(equals + 1);
        }
        const auto* const option = std::ranges::find(kOptions, name, &OptionText::name);
        if (option == std::end(kOptions)) {
            return Fail("there is no option " + Quoted(name));
        }
        if (option->value == nullptr && value) {
            return Fail("option '" + std::string(name) + "' takes no value");
        }
        Apply(name);
        if (m_Options.isQuiet && m_Options.showsProgress) {
            Fail("'--quiet' and '--progress' contradict each other");
        }
    }

    void Apply(std::string_view name) {
        if (name == "--help") {
            m_Options.wish = ExactOptions::Wish::kHelp;
        } else if (name == "--version") {
            m_Options.wish = ExactOptions::Wish::kVersion;
        } else if (name == "--quiet") {
            m_Options.isQuiet = true;
        } else if (name == "--progress") {
            m_Options.showsProgress = true;
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
    }

    [[nodiscard]] bool IsNext(std::string_view word) const {
        return m_Next < m_Words.size() && m_Words[m_Next] == word;
    }

    void ReadMode() {
        if (IsNext("-squish")) {
            m_Options.job.mode = Mode::kSquish;
        } else if (IsNext("-squish10")) {
            m_Options.job.mode = Mode::kSquish10;
        } else {
            return;
        }
        m_Next += 1;
        if (IsNext("-squish") || IsNext("-squish10")) {
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
        bool hasStandardInput = false;
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
            if (isStandardInput && std::exchange(hasStandardInput, true)) {
                return Fail("'-', standard input, can be read once only");
            }
            m_Options.job.inputs.push_back({std::string(word), isStandardInput});
        }
        if (m_Options.job.inputs.empty()) {
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
        if (option.value != nullptr) {
            name += option.value;
        }
        name.resize(std::max<std::size_t>(name.size() + 2, 19), ' ');
        text += "  " + name + option.help + "\n";
    }
    text +=
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
