// Stands in for the scalable allocator in sanitizer builds: each block is one of malloc's, so the
// sanitizers see overruns, leaks and double releases of record blocks.

#include <cstddef>
#include <cstdlib>

extern "C" {
void* scalable_malloc(std::size_t size);
void scalable_free(void* block);

void* scalable_malloc(std::size_t size) {
    return std::malloc(size);
}
void scalable_free(void* block) {
    std::free(block);
}
}
