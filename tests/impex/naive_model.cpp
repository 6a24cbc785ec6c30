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
    const Time sum{Low32(a.sec + b.sec), Low32(a.usec + b.usec)};
    return sum.usec > 999999 ? Time{Low32(sum.sec + 1), sum.usec - 1000000} : sum;
}

Time Minus(Time a, Time b) {
    const Time rest{Low32(a.sec - b.sec), Low32(a.usec - b.usec)};
    return rest.usec < 0 ? Time{Low32(rest.sec - 1), rest.usec + 1000000} : rest;
}

bool Less(Time a, Time b) {
    return a.sec != b.sec ? a.sec < b.sec : a.usec < b.usec;
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

class Model {
 public:
    explicit Model(const std::vector<ModelInput>& inputs) {
        for (std::size_t input = 0; input < inputs.size(); ++input) {
            if (!inputs[input].empty()) {
                m_Heads.push_back({input, &inputs[input]});
            }
        }
    }

    // Takes the head with the least key, the first of equals, until no input is left.
    ModelResult Interleave(const std::function<Time(const Head&)>& key, const std::function<void(const Head&)>& write,
                           const std::function<void(Head&, Time before)>& advanced) {
        while (!m_Heads.empty()) {
            std::size_t best = 0;
            for (std::size_t other = 1; other < m_Heads.size(); ++other) {
                best = Less(key(m_Heads[other]), key(m_Heads[best])) ? other : best;
            }
            Head& head = m_Heads[best];
            write(head);
            const Time before = TimeOf(head.Record());
            if (++head.next < head.records->size()) {
                advanced(head, before);
            } else {
                m_Result.finished.push_back(head.input);
                m_Heads.erase(m_Heads.begin() + static_cast<std::ptrdiff_t>(best));
            }
        }
        m_Result.file = m_File.Bytes();
        return m_Result;
    }

    void Append(Time time, const ModelRecord& record) {
        m_File.Record(static_cast<std::int32_t>(time.sec), static_cast<std::int32_t>(time.usec),
                      static_cast<std::uint32_t>(record.data.size()), record.origLen, record.data);
        m_Result.packets += 1;
        m_Result.bytes += record.data.size();
    }

    [[nodiscard]] Time Base() const { return m_Heads.empty() ? Time{0, 0} : m_Heads[0].Start(); }

 private:
    std::vector<Head> m_Heads;
    CaptureBuilder m_File;
    ModelResult m_Result;
};

}  // namespace

ModelResult ModelMerge(const std::vector<ModelInput>& inputs) {
    Model model(inputs);
    return model.Interleave(
        [](const Head& head) {
            return Time{head.Record().sec, 0};
        },
        [&](const Head& head) { model.Append(TimeOf(head.Record()), head.Record()); }, [](Head&, Time) {});
}

ModelResult ModelSquish(const std::vector<ModelInput>& inputs, int extraCopies) {
    Model model(inputs);
    const auto write = [&, base = model.Base()](const Head& head) {
        ModelRecord record = head.Record();
        const Time out = Minus(Plus(Plus(TimeOf(record), base), head.shift), head.Start());
        model.Append(out, record);
        std::string& data = record.data;
        if (extraCopies == 0 || data.size() < 32 || data.substr(12, 2) != std::string("\x08\0", 2)) {
            return;
        }
        const bool source = data.substr(26, 2) == "\xC0\xA8";
        const bool destination = data.substr(30, 2) == "\xC0\xA8";
        for (char network = 0; network < 10; ++network) {
            const std::string prefix = {10, network};
            data = source ? data.replace(26, 2, prefix) : data;
            data = destination ? data.replace(30, 2, prefix) : data;
            model.Append(out, record);
        }
    };
    return model.Interleave(
        [](const Head& head) { return Plus(Minus(TimeOf(head.Record()), head.Start()), head.shift); }, write,
        [](Head& head, Time before) {
            const Time now = TimeOf(head.Record());
            if (Less(now, before)) {
                head.shift = Minus(Plus(before, head.shift), now);
            } else if (Less(Plus(before, head.shift), now)) {
                head.shift = {0, 0};
            }
        });
}
