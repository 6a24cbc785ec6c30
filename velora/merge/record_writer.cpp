#include "velora/merge/record_writer.h"

namespace velora::merge {

using output::PcapNgEncoder;
using output::TimeChange;

bool RecordWriter::WriteFileHeader() {
    return m_Form.isPcapNg ? m_Output.Append(PcapNgEncoder::SectionHeader())
                           : m_Output.Append(m_Encoder.EncodeFileHeader(
                                 m_Form.snapLen, m_Form.linkType | m_Form.fcsBits));
}

bool RecordWriter::WriteInterface(InputOrder& input, const capture::Interface& interface,
                                  std::string_view name) {
    const auto block =
        PcapNgEncoder::InterfaceDescription(interface.linkType, m_Form.snapLen, name);
    input.interfaces.push_back({interface.linkType, m_Interfaces++});
    return m_Output.Append(*block);
}

bool RecordWriter::WritePacketBlock(const InputOrder& input, std::span<const std::uint8_t> bytes,
                                    std::int64_t time, TimeChange& change) {
    const capture::Record& record = input.Current();
    const auto length = static_cast<std::uint32_t>(bytes.size());
    change = PcapNgEncoder::EncodeHead(m_Output.Reserve(), time,
                                       input.interfaces[record.interface].number, length,
                                       record.originalLength);
    return m_Output.Commit(PcapNgEncoder::kHeadSize) && m_Output.Append(bytes) &&
           m_Output.Commit(PcapNgEncoder::EncodeTail(m_Output.Reserve(), length));
}

void RecordWriter::CountChange(TimeChange change, InputTally& tally) const {
    switch (change) {
        case TimeChange::kAsIs:
            break;
        case TimeChange::kBefore1970:
            tally.beforeEpoch += 1;
            break;
        case TimeChange::kBeyondLast:
            tally.beyondEnd += 1;
            break;
        case TimeChange::kFinerThanUnit:
            tally.roundedDown += m_Form.cutsFinerTimes ? 0 : 1;
            break;
    }
}

}  // namespace velora::merge
