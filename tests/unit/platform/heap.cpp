#include "platform/heap.h"

#include <cerrno>
#include <cstdlib>

Heap& heap()
{
    static Heap state;
    return state;
}

extern "C" {

void* __real_malloc(std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void __wrap_free(void* block);

void* __wrap_malloc(std::size_t size)
{
    Heap& state = heap();
    if (state.taken >= state.available) {
        errno = ENOMEM;
        return nullptr;
    }
    void* const block = __real_malloc(size);
    if (block != nullptr) {
        ++state.taken;
        ++state.held;
    }
    return block;
}

void __wrap_free(void* block)
{
    if (block != nullptr)
        --heap().held;
    __real_free(block);
}
}
