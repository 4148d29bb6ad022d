#include "memory_area.h"

#include <errno.h>
#include <stdint.h>
#include <sys/mman.h>

namespace {

constexpr size_t step = 0x10000;

} // namespace

bool MemoryArea::reserve(size_t size)
{
    if (size <= capacity_ && data_ != nullptr)
        return true;
    if (size > SIZE_MAX / 2 - step) {
        errno = ENOMEM;
        return false;
    }
    const size_t doubled = 2 * capacity_;
    const size_t wanted = ((size > doubled ? size : doubled) / step + 1) * step;
    void* const area = data_ == nullptr
                           ? mmap(nullptr, wanted, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                           : mremap(data_, capacity_, wanted, MREMAP_MAYMOVE);
    if (area == MAP_FAILED)
        return false;
    data_ = static_cast<char*>(area);
    capacity_ = wanted;
    return true;
}

void MemoryArea::release()
{
    if (data_ != nullptr)
        munmap(data_, capacity_);
    data_ = nullptr;
    capacity_ = 0;
}
