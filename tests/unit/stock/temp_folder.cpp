#include "temp_folder.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

TempFolder::TempFolder()
{
    char name[] = "/tmp/ipv6ctl-test-XXXXXX";
    path_ = mkdtemp(name) != nullptr ? name : "/nonexistent";
    setenv("TESA_STORE", store().c_str(), 1);
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, const std::string& contents)
{
    std::ofstream(path, std::ios::binary) << contents;
}
