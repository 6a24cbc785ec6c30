#include "tests/impex/naive_model.h"

#include <algorithm>
#include <compare>

#include "tests/support/capture_builder.h"

namespace {

struct Time {
    std::int64_t sec;
    std::int64_t usec;
    auto operator<=>(const Time&) const = default;
};

// Both fields cut to 32 bits.
Time Cut(Time time) {
    return {static_cast<std::int32_t>(time.sec), static_cast<std::int32_t>(time.usec)};
}

Time Plus(Time a, Time b) {
    const Time sum = Cut({a.sec + b.sec, a.usec + b.usec});
    return sum.usec > 999999 ? Cut({sum.sec + 1, sum.usec - 1000000}) : sum;
}

Time Minus(Time a, Time b) {
    const Time rest = Cut({a.sec - b.sec, a.usec - b.usec});
    return rest.usec < 0 ? Cut({rest.sec - 1, rest.usec + 1000000}) : rest;
}

Time TimeOf(const ModelRecord& record) {
    return {record.sec, record.usec};
}

// An input that has a record left.
struct Head {
    std::size_t input;
    const ModelInput* records;
    std::size_t next = 0;
    Time shift{0, 0};

    [[nodiscard]] const ModelRecord& Record() const { return (*records)[next]; }
    [[nodiscard]] Time Start() const { return TimeOf(records->front()); }
};

// The record and, where it looks like IPv4, its ten copies.
std::vector<ModelRecord> WithCopies(ModelRecord record) {
    std::vector<ModelRecord> records = {record};
    std::string& data = record.data;
    if (data.size() < 32 || data.substr(12, 2) != std::string("\x08\0", 2)) {
        return records;
    }
    const bool source = data.substr(26, 2) == "\xC0\xA8";
    const bool destination = data.substr(30, 2) == "\xC0\xA8";
    for (char network = 0; network < 10; ++network) {
        const std::string prefix = {10, network};
        data = source ? data.replace(26, 2, prefix) : data;
        data = destination ? data.replace(30, 2, prefix) : data;
        records.push_back(record);
    }
    return records;
}

}  // namespace

ModelResult RunModel(const std::vector<ModelInput>& inputs, Algorithm algorithm) {
    std::vector<Head> heads;
    for (std::size_t input = 0; input < inputs.size(); ++input) {
        if (!inputs[input].empty()) {
            heads.push_back({input, &inputs[input]});
        }
    }
    const Time base = heads.empty() ? Time{0, 0} : heads[0].Start();
    const bool isMerge = algorithm == Algorithm::Merge;
    const auto key = [isMerge](const Head& head) {
        const Time sinceStart = Minus(TimeOf(head.Record()), head.Start());
        return isMerge ? Time{head.Record().sec, 0} : Plus(sinceStart, head.shift);
    };
    CaptureBuilder file;
    ModelResult result;
    while (!heads.empty()) {
        const auto head = std::ranges::min_element(heads, {}, key);  // the first of equals
        const ModelRecord& record = head->Record();
        const Time now = TimeOf(record);
        const Time out = isMerge ? now : Minus(Plus(Plus(now, base), head->shift), head->Start());
        for (const auto& written : algorithm == Algorithm::Squish10 ? WithCopies(record) : ModelInput{record}) {
            file.Record(static_cast<std::int32_t>(out.sec), static_cast<std::int32_t>(out.usec),
                        static_cast<std::uint32_t>(written.data.size()), written.origLen, written.data);
            result.packets += 1;
            result.bytes += written.data.size();
        }
        if (++head->next == head->records->size()) {
            result.finished.push_back(head->input);
            heads.erase(head);
        } else if (const Time then = TimeOf(head->Record()); then < now) {
            head->shift = Minus(Plus(now, head->shift), then);
        } else if (then > Plus(now, head->shift)) {
            head->shift = {0, 0};
        }
    }
    result.file = file.Bytes();
    return result;
}
