// Where libFuzzer enters: inputs are split into fields; with IPV6CTL_HOSTILE every hostile string of that file is tried
// first, in every field at once, and alone in place of a field, at its end and in its middle.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "support/finding.h"
#include "support/target.h"

namespace {

Fields split(const std::string& input)
{
    Fields fields;
    std::size_t start = 0;
    while (fields.size() + 1 < target.normal.size()) {
        const std::size_t end = input.find(target.separator, start);
        if (end == std::string::npos)
            break;
        fields.push_back(input.substr(start, end - start));
        start = end + 1;
    }
    fields.push_back(input.substr(start));
    fields.resize(target.normal.size());
    return fields;
}

// The lines of the file know three escapes: \\ \" \xHH.
std::string unescaped(const std::string& line)
{
    std::string bytes;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            bytes += line[i];
        } else if (line[i + 1] == 'x') {
            bytes += static_cast<char>(std::strtoul(line.substr(i + 2, 2).c_str(), nullptr, 16));
            i += 3;
        } else {
            bytes += line[++i];
        }
    }
    return bytes;
}

void try_fields(const Fields& fields)
{
    std::string input;
    for (const std::string& field : fields)
        input += field + target.separator;
    note_input(input);
    target.run(fields);
}

void try_hostile_strings(const char* path)
{
    std::ifstream file(path);
    if (!file)
        finding(std::string("no hostile strings in ") + path);
    const std::size_t count = target.normal.size();
    std::size_t number = 0;
    for (std::string line; std::getline(file, line); ++number) {
        const std::string hostile = unescaped(line);
        try_fields(Fields(count, hostile));
        Fields fields = target.normal;
        fields[number % count] = hostile;
        try_fields(fields);
        const std::size_t other = (number / count + number + 1) % count;
        fields = target.normal;
        fields[other] += hostile;
        try_fields(fields);
        fields = target.normal;
        fields[other].insert(fields[other].size() / 2, hostile);
        try_fields(fields);
    }
    note_input("");
    std::fprintf(stderr, "hostile strings: %zu, tried in %zu inputs\n", number, 4 * number);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (const char* const path = std::getenv("IPV6CTL_HOSTILE"))
        try_hostile_strings(path);
    target.run(target.normal);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    target.run(split(std::string(reinterpret_cast<const char*>(data), size)));
    return 0;
}
