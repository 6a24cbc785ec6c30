// A program whose own names are those of the library's headers: nothing of theirs may be global.

struct Own {
    int m_Mine;
};
// What stands in a file.
typedef Own Attribute, Block, ByteOrder, ClassicFormat, FileHeader, Format, LinkType, LittleEndian, Option, PcapNg,
    RecordHeader, Swapped;
// What reads, writes, merges and rewrites it.
typedef Own Address, AddressCopies, AddressRewrite, ByteSink, ByteSource, CaptureReader, CaptureTraits, CaptureWriter,
    Compression, ExactJob, Interface, IpAddress, Item, Job, Key, Listener, Mode, Name, OrderedMerge, OutputFile,
    OutputOutcome, PacketView, Problem, ProblemKind, Record, Result, RunListener, RunProgress, RunReport, SourceCounts,
    Status, StreamFault, TimeChange, Timeline;
// Operations, as variables.
int Append, Apply, Finish, IsSquish, Merge, NameOf, Open, Put, Read, Run, Squish, TextOf, Write;
// Folders, no namespaces.
typedef Own codec, detail, exact, formats, input, link_type, merge, output, packet, report, utils;
namespace capture {
int mine = 1;
}

#include <iostream>

#include "every_header.h"

int main() {
    const Record mine{2};
    velora::capture::Record theirs;
    theirs.capturedLength = 3;
    std::cout << capture::mine << mine.m_Mine << theirs.capturedLength << "\n";
}
