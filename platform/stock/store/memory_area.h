// Memory that grows, straight from the kernel: the store keeps whole files in it, and the program has no heap.
#pragma once

#include <stddef.h>

class MemoryArea {
public:
    // Makes room for at least `size` bytes. The contents stay, possibly at another address. Returns false with errno
    // set; the area is then as it was.
    bool reserve(size_t size);

    // Gives the memory back. Not done by a destructor: the program ends with its process, and an object of static
    // life then needs no code at its exit.
    void release();

    char* data() { return data_; }
    const char* data() const { return data_; }

private:
    char* data_ = nullptr;
    size_t capacity_ = 0;
};
