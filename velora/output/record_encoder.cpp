#include "velora/output/record_encoder.h"

#include "velora/formats/classic_format.h"

namespace velora::output {

RecordEncoder::FileHeader RecordEncoder::EncodeFileHeader(std::uint32_t snapLen,
                                                          std::uint32_t linkTypeField) const {
    const formats::classic::FileHeader header{
        .magic =
            formats::LittleEndian(m_Unit == Unit::kNanoseconds ? formats::classic::kMagicNanoseconds
                                                               : formats::classic::kMagic),
        .versionMajor = formats::LittleEndian(formats::classic::kVersionMajor),
        .versionMinor = formats::LittleEndian(formats::classic::kVersionMinor),
        .thisZone = 0,
        .sigFigs = 0,
        .snapLen = formats::LittleEndian(snapLen),
        .linkType = formats::LittleEndian(linkTypeField)};
    return std::bit_cast<FileHeader>(header);
}

}  // namespace velora::output
