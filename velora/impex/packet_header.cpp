#include "velora/impex/packet_header.h"

#include <tbb/scalable_allocator.h>

void velora::impex::ScalableFree::operator()(void* block) const noexcept {
    scalable_free(block);
}
