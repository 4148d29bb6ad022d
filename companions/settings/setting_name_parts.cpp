#include "setting_name_parts.h"

#include "text_parts.h"

NameParts split_name(std::string_view name)
{
    if (!name.empty() && name.back() == '=')
        name = first_part(name, name.size() - 1);
    const size_t at = name.find('@');
    return {first_part(name, at), at == name.npos ? std::string_view() : rest_after(name, at + 1)};
}
