// A folder for one test, with the store's path set to a file in it.
#pragma once

#include <string>

class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    std::string store() const { return file("ccfg.db"); }

private:
    std::string path_;
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& contents);
