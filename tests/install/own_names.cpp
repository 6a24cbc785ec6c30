// A program whose own names are those of the library's headers: nothing of theirs may be global.

#define OWN(name)   \
    struct name {   \
        int m_Mine; \
    }

// What stands in a file.
OWN(Attribute);
OWN(Block);
OWN(ByteOrder);
OWN(ClassicFormat);
OWN(FileHeader);
OWN(Format);
OWN(LinkType);
OWN(LittleEndian);
OWN(Option);
OWN(PcapNg);
OWN(RecordHeader);
OWN(Swapped);
// What reads, writes, merges and rewrites it.
OWN(Address);
OWN(AddressCopies);
OWN(AddressRewrite);
OWN(ByteSink);
OWN(ByteSource);
OWN(CaptureReader);
OWN(CaptureTraits);
OWN(CaptureWriter);
OWN(Compression);
OWN(ExactJob);
OWN(Interface);
OWN(IpAddress);
OWN(Item);
OWN(Job);
OWN(Key);
OWN(Listener);
OWN(Mode);
OWN(Name);
OWN(OrderedMerge);
OWN(OutputFile);
OWN(OutputOutcome);
OWN(PacketView);
OWN(Problem);
OWN(ProblemKind);
OWN(Record);
OWN(Result);
OWN(RunListener);
OWN(RunProgress);
OWN(RunReport);
OWN(SourceCounts);
OWN(Status);
OWN(StreamFault);
OWN(TimeChange);
OWN(Timeline);
// Operations, as variables.
int Append, Apply, Finish, IsSquish, Merge, NameOf, Open, Put, Read, Run, Squish, TextOf, Write;
// Folders.
#define OWN_NAMESPACE(name) \
    namespace name {        \
    int mine = 1;           \
    }
OWN_NAMESPACE(capture)
OWN_NAMESPACE(codec)
OWN_NAMESPACE(detail)
OWN_NAMESPACE(exact)
OWN_NAMESPACE(formats)
OWN_NAMESPACE(input)
OWN_NAMESPACE(link_type)
OWN_NAMESPACE(merge)
OWN_NAMESPACE(output)
OWN_NAMESPACE(packet)
OWN_NAMESPACE(report)
OWN_NAMESPACE(utils)

#include <iostream>

#include "every_header.h"

int main() {
    const Record mine{2};
    velora::capture::Record theirs;
    theirs.capturedLength = 3;
    std::cout << capture::mine << mine.m_Mine << theirs.capturedLength << "\n";
}
