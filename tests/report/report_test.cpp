// A run's report: times counted and put into words, and texts that cannot break out of either form.

#include <climits>
#include <random>
#include <ranges>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "velora/report/report_json.h"
#include "velora/report/report_page.h"
#include "velora/report/report_text.h"
#include "velora/report/time_axis.h"
#include "velora/utils/time_histogram.h"

namespace velora::report {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

// Every record is in the bucket that its time belongs to, however the times came.
void ExpectRight(const std::string& about, const std::vector<std::int64_t>& times) {
    SCOPED_TRACE(about);
    utils::TimeHistogram histogram;
    std::ranges::for_each(times, [&](std::int64_t time) { histogram.Add(time); });
    const auto behind = [](std::int64_t time, std::int64_t start) {
        return static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(start);
    };
    for (std::size_t bucket = 0; bucket < utils::TimeHistogram::kBuckets; ++bucket) {
        const std::int64_t start = histogram.Start(bucket);
        const bool isBeyond = bucket > 0 && start == histogram.Start(bucket - 1);  // what 64 bits hold
        const auto count = std::ranges::count_if(times, [&](std::int64_t time) {
            return !isBeyond && time >= start && behind(time, start) < histogram.Width();
        });
        ASSERT_EQ(histogram.Count(bucket), static_cast<std::uint64_t>(count)) << "bucket " << bucket;
    }
    const auto [first, last] = std::ranges::minmax(times);
    EXPECT_TRUE(histogram.Earliest() == first && histogram.Latest() == last);
    EXPECT_TRUE(histogram.Width() == 2 || behind(last, first) / histogram.Width() >= 511) << "no wider than need be";
}

TEST(TimeHistogramTest, HoldsEveryTimeInABucketAsNarrowAsTheSpanAllows) {
    ExpectRight("as wide as the narrowest buckets", {0, 2047});
    ExpectRight("one more", {0, 2048});
    ExpectRight("backwards by a bucket's width", {2000, 1000, 976, 975, 0});
    ExpectRight("from end to end, a narrow beginning", {LLONG_MIN, LLONG_MIN + 3, 0, LLONG_MAX});
    ExpectRight("backwards to the lowest time", {LLONG_MAX, LLONG_MIN + 2000, LLONG_MIN + 700, LLONG_MIN});
    std::mt19937_64 random(20261121);
    for (int run = 0; run < 20; ++run) {
        std::vector<std::int64_t> times(300);
        std::ranges::generate(times, [&] { return static_cast<std::int64_t>(random()) >> (random() % 60); });
        ExpectRight("random, " + std::to_string(run), times);
    }
}

TEST(TimeAxisTest, PutsTicksAtTimesThatPeopleCountBy) {
    constexpr std::int64_t kNoon = 1795262400 * kSecond;  // 2026-11-21 12:00:00
    constexpr std::int64_t kHour = 3600 * kSecond;
    const struct {
        const char* about;
        std::int64_t from;
        std::int64_t span;
        const char* labels;
    } rows[] = {
        {"a single time", kNoon, 0, "11:59:59.6, 11:59:59.8, 12:00:00.0, 12:00:00.2, 12:00:00.4"},
        {"nanoseconds", kNoon, 50, "+0 ns, +10 ns, +20 ns, +30 ns, +40 ns"},
        {"microseconds", kNoon, 400'000, "+0 \u00B5s, +100 \u00B5s, +200 \u00B5s, +300 \u00B5s"},
        {"from between two seconds", kNoon + 1, 11 * kSecond, "12:00:02, 12:00:04, 12:00:06, 12:00:08, 12:00:10"},
        {"over midnight", kNoon, 30 * kHour, "12:00, 18:00, 22 Nov, 06:00, 12:00"},
        {"months", kNoon, 24 * 200 * kHour, "Jan 2027, Mar 2027, May 2027"},
        {"years, from before 1970", -3 * 8766 * kHour, 8 * 8766 * kHour, "1968, 1970, 1972, 1974"},
        {"the lowest times", LLONG_MIN, 5 * kSecond, "00:12:44, 00:12:45, 00:12:46, 00:12:47, 00:12:48"},
        {"the highest times", LLONG_MAX - 4 * kSecond, 4 * kSecond, "23:47:13, 23:47:14, 23:47:15, 23:47:16"},
        {"all that 64 bits hold", LLONG_MIN, -1, "1700, 1800, 1900, 2000, 2100, 2200"},
    };
    for (const auto& row : rows) {
        const TimeAxis axis(row.from, row.span < 0 ? LLONG_MAX : row.from + row.span);
        std::string labels;
        double before = -1;
        for (const TimeAxis::Tick& tick : axis.Ticks(6)) {
            labels += (labels.empty() ? "" : ", ") + tick.label;
            EXPECT_TRUE(tick.place > before && tick.place >= 0 && tick.place <= 1) << row.about << tick.place;
            before = tick.place;
        }
        EXPECT_EQ(labels, row.labels) << row.about;
    }
}

TEST(ReportTextTest, PutsNumbersIntoAsFewWordsAsTheyNeed) {
    EXPECT_EQ(GroupedText(999) + " " + GroupedText(ULLONG_MAX), "999 18,446,744,073,709,551,615");
    std::string spans;
    for (const double span : {0.0, 1e3, 999.499e6, 999.5e6, 59.949e9, 59.951e9, 86399.4e9, 86400e9, 1e18}) {
        spans += SpanText(span) + ", ";
    }
    EXPECT_EQ(spans, "0 ns, 1 \u00B5s, 999 ms, 1.00 s, 59.9 s, 1 min 0 s, 23 h 59 min, 1 d 0 h, 11,574 d 1 h, ");
    EXPECT_EQ(ShortestUtcText(-1), "1969-12-31 23:59:59.999999999");
    EXPECT_EQ(ShortestUtcText(1'250'000'000), "1970-01-01 00:00:01.250");
}

// A report of inputs with a name, the first with a problem of that text.
struct Told {
    explicit Told(const std::string& text, std::size_t inputs = 1) {
        run.status = exact::Status::kIncomplete;
        job.inputs.assign(inputs, {text, false});
        job.output = text;
        run.inputs.resize(inputs);
        run.inputs[0].problems.Add({capture::ProblemKind::kDamage, text, 7, 4096});
        for (exact::InputReport& input : run.inputs | std::views::take(exact::RunReport::kMostTimelines)) {
            input.isCapture = true;
            input.counts.timeline = std::make_unique<output::Timeline>();
            input.counts.timeline->captured.Add(0);
        }
    }
    exact::ExactJob job;
    exact::RunSetting setting{job, "1.0", {}, "", 0, 1};
    exact::RunReport run;
};

TEST(ReportJsonTest, LosesNothingOfATextThatIsNoUtf8) {
    const Told told("a\xFF.pcap");
    const nlohmann::json document = nlohmann::json::parse(ReportJson(told.setting, told.run));
    EXPECT_EQ(document["inputs"][0]["path"], "a\\xff.pcap");
    EXPECT_EQ(document["inputs"][0]["pathBytes"], "61FF2E70636170");
    EXPECT_EQ(document["inputs"][0]["problems"][0]["offset"], 4096);
    const Told right("a\"\\\u00E4\n");
    EXPECT_EQ(ReportJson(right.setting, right.run).find("Bytes\""), std::string::npos);
}

TEST(ReportPageTest, EscapesANameOnceWhereverItStands) {
    const std::string name = "we\\ird <b>'&\".pcap";
    const std::string shown = "we\\x5cird &lt;b&gt;&#39;&amp;&quot;.pcap";
    Told told(name);
    told.setting.options = {name};
    told.run.inputs[0].problems.Add({capture::ProblemKind::kOutOfPlace, "behind " + name, 0, 0});
    const std::string page = ReportPage(told.setting, told.run);
    for (const std::string& place :
         {"<h1>" + shown + "</h1>", "<title>" + shown + " ", "<li class=\"bad\">" + shown + "<",
          "title=\"" + shown + "\"", "label=\"" + shown + ": ", "<title>" + shown + "\nbehind " + shown + "\n</title>",
          "<code>" + shown + "</code>"}) {
        EXPECT_NE(page.find(place), std::string::npos) << place;
    }
    EXPECT_EQ(page.find("x5cx5c"), std::string::npos) << "twice";
}

TEST(ReportPageTest, ShowsSixtyInputsAndSaysHowManyItLeavesOut) {
    for (const auto& [inputs, left] :
         {std::pair{60U, "are left out"}, {61U, "; 1 are left out"}, {1060U, "; 1,000 are left out"}}) {
        const Told told("x", inputs);
        const std::string page = ReportPage(told.setting, told.run);
        std::size_t bars = 0;
        for (std::size_t at = 0; (at = page.find("<li class=\"row\">", at + 1)) != std::string::npos;) {
            ++bars;
        }
        EXPECT_EQ(bars, 60U);
        EXPECT_EQ(page.find(left) != std::string::npos, inputs > 60) << inputs;
        EXPECT_EQ(page.find("Output</span>") != std::string::npos, inputs == 60) << "a sum of all only";
    }
}

}  // namespace
}  // namespace velora::report
