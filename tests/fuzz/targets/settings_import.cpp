// The text that `ccfg_cli import` reads: all of it or nothing, and what a plain reading of its lines says.
#include <cstdlib>
#include <filesystem>
#include <map>
#include <unistd.h>

#include "line_reader.h"
#include "platform/config_store.h"
#include "scratch_file.h"
#include "settings_import.h"
#include "support/finding.h"
#include "support/target.h"

namespace fs = std::filesystem;

namespace {

std::string folder;

void remove_folder()
{
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

void make_folder()
{
    const char* const parent = std::getenv("TEST_TMPDIR");
    folder = std::string(parent != nullptr ? parent : "/tmp") + "/ipv6ctl-fuzz-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
        finding("no folder for the store");
    std::atexit(remove_folder);
    setenv("TESA_STORE", (folder + "/ccfg.db").c_str(), 1);
}

bool is_plain_name(const std::string& text)
{
    constexpr char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-";
    return !text.empty() && text.size() <= 63 && text.find_first_not_of(plain) == std::string::npos;
}

bool is_plain_value(const std::string& text)
{
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    }
    return text.size() <= 1023;
}

using Settings = std::map<std::string, std::string>; // "key@section" to value

// False when a line is no setting.
bool read_plainly(const std::string& text, Settings& settings)
{
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.size() > line_capacity)
            return false;
        if (line.find_first_not_of(" \t\r") == std::string::npos || line[0] == '#')
            continue;
        const std::size_t equals = line.find('=');
        const std::size_t at = line.find('@');
        if (equals == std::string::npos || at == std::string::npos || at > equals)
            return false;
        const std::string value = line.substr(equals + 1);
        if (!is_plain_name(line.substr(0, at)) || !is_plain_name(line.substr(at + 1, equals - at - 1))
            || !is_plain_value(value))
            return false;
        settings[line.substr(0, equals)] = value;
    }
    return true;
}

// As the tool does it: the whole text is checked before the store is touched.
bool import(const std::string& text)
{
    const int fd = open_scratch_file();
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        finding("no scratch file");
    bool imported = lseek(fd, 0, SEEK_SET) == 0 && import_settings(fd, "input", nullptr);
    if (imported) {
        StoreWriter writer;
        imported = lseek(fd, 0, SEEK_SET) == 0 && writer.begin(std::getenv("TESA_STORE"))
                   && import_settings(fd, "input", &writer) && writer.commit();
    }
    close(fd);
    return imported;
}

void run(const Fields& fields)
{
    if (folder.empty())
        make_folder();
    fs::remove(folder + "/ccfg.db");
    Settings wanted;
    const bool is_text = read_plainly(fields[0], wanted);
    if (import(fields[0]) != is_text)
        finding(is_text ? "settings were refused" : "something that is no setting was taken");
    if (!is_text) {
        if (fs::exists(folder + "/ccfg.db"))
            finding("a refused text touched the store");
        return;
    }
    const int tid = tesa_start_transc();
    if (tid < 0)
        finding("the store cannot be opened after an import");
    for (const auto& [name, value] : wanted) {
        const std::size_t at = name.find('@');
        char stored[1024];
        if (tesa_ccfg_get_str(tid, name.substr(at + 1).c_str(), name.substr(0, at).c_str(), stored, sizeof stored, "")
                != 0
            || value != stored)
            finding("not as the text says: " + name);
    }
    tesa_end_transc(tid);
}

} // namespace

const Target target = {
    file_separator, {"# settings\nip6_proto@wan100=dhcp\n\nip6_ula_eb@lan0=1\nip6_proto@wan100=\n"}, run};
