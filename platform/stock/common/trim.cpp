#include <string.h>

#include "platform/common_library.h"

void utilStrTrimChar(char* text, const char* chars)
{
    if (text == nullptr || chars == nullptr)
        return;
    const char* const start = text + strspn(text, chars);
    size_t size = strlen(start);
    while (size > 0 && strchr(chars, start[size - 1]) != nullptr)
        --size;
    memmove(text, start, size);
    text[size] = '\0';
}
