#include "tests/impex/naive_model.h"

#include <functional>

#include "tests/support/capture_builder.h"

namespace {

struct Time {
    std::int64_t sec;
    std::int64_t usec;
};

std::int64_t Low32(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

Time Plus(Time a, Time b) {
    Time sum{Low32(a.sec + b.sec), Low32(a.usec + b.usec)};
    return sum.usec > 999999 ? Time{Low32(sum.sec + 1), sum.usec - 1000000} : sum;
}

Time Minus(Time a, Time b) {
    Time rest{Low32(a.sec - b.sec), Low32(a.usec - b.usec)};
    return rest.usec < 0 ? Time{Low32(rest.sec - 1), rest.usec + 1000000} : rest;
}

bool Less(Time a, Time b) {
    return a.sec != b.sec ? a.sec < b.sec : a.usec < b.usec;
}

struct Head {
    std::size_t input = 0;
    std::size_t next = 0;
    Time start{};
    Time shift{};
};

Time TimeOf(const ModelRecord& record) {
    return {record.sec, record.usec};
}

// Takes the head with the least key, the first of equals, until no input is left.
void Interleave(const std::vector<ModelInput>& inputs, ModelResult& result, const std::function<Time(const Head&)>& key,
                const std::function<void(const Head&)>& write, const std::function<void(Head&)>& advanced) {
    std::vector<Head> heads;
    for (std::size_t input = 0; input < inputs.size(); ++input) {
        if (!inputs[input].empty()) {
            heads.push_back({input, 0, TimeOf(inputs[input][0]), {0, 0}});
        }
    }
    while (!heads.empty()) {
        std::size_t best = 0;
        for (std::size_t other = 1; other < heads.size(); ++other) {
            if (Less(key(heads[other]), key(heads[best]))) {
                best = other;
            }
        }
        write(heads[best]);
        if (++heads[best].next < inputs[heads[best].input].size()) {
            advanced(heads[best]);
        } else {
            result.finished.push_back(heads[best].input);
            heads.erase(heads.begin() + static_cast<std::ptrdiff_t>(best));
        }
    }
}

}  // namespace

ModelResult ModelMerge(const std::vector<ModelInput>& inputs) {
    ModelResult result;
    CaptureBuilder file;
    const auto record = [&](const Head& head) { return inputs[head.input][head.next]; };
    Interleave(
        inputs, result,
        [&](const Head& head) {
            return Time{record(head).sec, 0};
        },
        [&](const Head& head) {
            const ModelRecord& r = record(head);
            file.Record(r.sec, r.usec, static_cast<std::uint32_t>(r.data.size()), r.origLen, r.data);
            result.packets += 1;
            result.bytes += r.data.size();
        },
        [](Head&) {});
    result.file = file.Bytes();
    return result;
}

ModelResult ModelSquish(const std::vector<ModelInput>& inputs, int extraCopies) {
    ModelResult result;
    CaptureBuilder file;
    Time base{};
    for (auto input = inputs.rbegin(); input != inputs.rend(); ++input) {
        base = input->empty() ? base : TimeOf(input->front());
    }
    const auto record = [&](const Head& head) { return inputs[head.input][head.next]; };
    const auto write = [&](const Head& head) {
        ModelRecord r = record(head);
        const Time out = Minus(Plus(Plus(TimeOf(r), base), head.shift), head.start);
        const auto append = [&] {
            file.Record(static_cast<std::int32_t>(out.sec), static_cast<std::int32_t>(out.usec),
                        static_cast<std::uint32_t>(r.data.size()), r.origLen, r.data);
            result.packets += 1;
            result.bytes += r.data.size();
        };
        append();
        if (extraCopies == 0 || r.data.size() < 32 || r.data.substr(12, 2) != std::string("\x08\0", 2)) {
            return;
        }
        const bool source = r.data.substr(26, 2) == "\xC0\xA8";
        const bool destination = r.data.substr(30, 2) == "\xC0\xA8";
        for (char network = 0; network < 10; ++network) {
            const std::string prefix = {10, network};
            r.data = source ? r.data.replace(26, 2, prefix) : r.data;
            r.data = destination ? r.data.replace(30, 2, prefix) : r.data;
            append();
        }
    };
    Interleave(
        inputs, result, [&](const Head& head) { return Plus(Minus(TimeOf(record(head)), head.start), head.shift); },
        write,
        [&](Head& head) {
            const Time before = TimeOf(inputs[head.input][head.next - 1]);
            const Time now = TimeOf(record(head));
            if (Less(now, before)) {
                head.shift = Minus(Plus(before, head.shift), now);
            } else if (Less(Plus(before, head.shift), now)) {
                head.shift = {0, 0};
            }
        });
    result.file = file.Bytes();
    return result;
}
