// Settings of the device, read and changed from the shell.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include <string_view>

#include "line_reader.h"
#include "memory_area.h"
#include "scratch_file.h"
#include "setting_name.h"
#include "settings_import.h"
#include "settings_report.h"
#include "settings_text.h"
#include "snapshot.h"
#include "store_file.h"
#include "store_message.h"
#include "store_writer.h"
#include "text_parts.h"

namespace {

constexpr int failed = 1;
constexpr int misused = 2;
constexpr off_t import_limit = off_t{32} << 20; // twice what a store can hold

constexpr char usage[] = "usage: ccfg_cli get KEY@SECTION\n"
                         "       ccfg_cli set KEY@SECTION=VALUE\n"
                         "       ccfg_cli unset KEY@SECTION\n"
                         "       ccfg_cli list [SECTION]\n"
                         "       ccfg_cli export\n"
                         "       ccfg_cli import [FILE]\n"
                         "       ccfg_cli check [FILE]\n"
                         "       ccfg_cli help [KEY[@SECTION]]\n";

constexpr char help[] =
    "\n"
    "Reads and changes the settings of the device; every change is permanent at once.\n"
    "\n"
    "  get     writes the value; exit status 1 without output when there is none\n"
    "  set     sets the value\n"
    "  unset   removes the setting\n"
    "  list    writes all settings, or those of one section, sorted, as KEY@SECTION=VALUE\n"
    "  export  writes all settings as import reads them\n"
    "  import  sets what the lines KEY@SECTION=VALUE of FILE, or of standard input, say: all of them, or none when "
    "one\n"
    "          of them is wrong; blank lines and lines that start with # are skipped; a damaged store is kept under\n"
    "          another name, and the new one holds the factory settings and the lines\n"
    "\n"
    "  check   looks for what is wrong with the settings of the store, or of the lines of FILE (- is standard input):\n"
    "          values out of range, unknown keys, and what daemons refuse or hosts suffer from; a line each, and exit\n"
    "          status 1, when there is something; 0 when there is nothing\n"
    "  help    tells what a key is for, its values, who reads it and what is in force; without a key: this and all "
    "keys\n"
    "\n"
    "KEY and SECTION: 1 to 63 characters of A-Za-z0-9_.- each. VALUE: up to 1023 bytes without control characters.\n"
    "The store is /etc/config/ccfg.db, or the file that the environment variable TESA_STORE names.\n"
    "Exit status: 0, 1 when it failed, 2 when it was called wrongly.\n";

Snapshot settings;
char output_buffer[8192];

int complain_usage(const char* reason)
{
    fprintf(stderr, "ccfg_cli: %s\n%s", reason, usage);
    return misused;
}

int complain_argument(const char* argument, const char* fault)
{
    store_message("%s: %s", printable(argument), fault);
    return failed;
}

bool load_settings()
{
    return create_missing_store(store_path()) && settings.refresh(store_path());
}

int finish_output()
{
    if (fflush(stdout) == 0 && ferror(stdout) == 0)
        return 0;
    store_message("standard output: %s", strerror(errno));
    return failed;
}

void write_text(std::string_view text)
{
    if (!text.empty()) // an empty one may lead nowhere
        fwrite(text.data(), 1, text.size(), stdout);
}

int get(const char* argument)
{
    SettingName name;
    if (const char* const fault = parse_name(argument, name))
        return complain_argument(argument, fault);
    std::string_view value;
    if (!load_settings() || !settings.find(name.record(), value))
        return failed;
    write_text(value);
    write_text("\n");
    return finish_output();
}

// Sets the value, or removes the setting when `value` is null; opens the store for writing only when that differs.
int change(const SettingName& name, const std::string_view* value)
{
    if (!load_settings())
        return failed;
    std::string_view stored;
    const bool exists = settings.find(name.record(), stored);
    if (value != nullptr ? exists && stored == *value : !exists)
        return 0;
    StoreWriter writer;
    if (!writer.begin(store_path()))
        return failed;
    const bool changed = value != nullptr ? writer.put(name, *value) : writer.remove(name);
    return changed && writer.commit() ? 0 : failed;
}

int set(const char* argument)
{
    SettingName name;
    std::string_view value;
    if (const char* const fault = parse_setting(argument, name, value))
        return complain_argument(argument, fault);
    return change(name, &value);
}

int unset(const char* argument)
{
    SettingName name;
    if (const char* const fault = parse_name(argument, name))
        return complain_argument(argument, fault);
    return change(name, nullptr);
}

bool is_in_section(std::string_view record, std::string_view section)
{
    const std::string_view rest = rest_after(record, record.find('@') + 1);
    return first_part(rest, rest.size() - 1) == section;
}

int list(const char* section)
{
    if (section != nullptr && !is_name_part(section))
        return complain_argument(section, name_fault);
    if (!load_settings())
        return failed;
    for (std::string_view rest = settings.settings(); !rest.empty();) {
        const StoredSetting setting = take_setting(rest);
        if (section != nullptr && !is_in_section(setting.record, section))
            continue;
        write_text(setting.record);
        write_text(setting.value);
        write_text("\n");
    }
    return finish_output();
}

// Copies all of `source` into `scratch`. Returns false after a message.
bool copy_input(int source, const char* name, int scratch)
{
    char piece[4096];
    off_t total = 0;
    for (;;) {
        const ssize_t got = read(source, piece, sizeof piece);
        if (got == 0)
            return true;
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 || write(scratch, piece, static_cast<size_t>(got)) != got) {
            store_message("%s: cannot be read: %s", name, strerror(errno));
            return false;
        }
        total += got;
        if (total > import_limit) {
            store_message("%s: is more than a store can hold", name);
            return false;
        }
    }
}

// The input is read to its end before the store is touched: it may come slowly, or from a command that uses the store.
int import_copy(int source, const char* name)
{
    const int scratch = open_scratch_file();
    if (scratch < 0) {
        store_message("%s: cannot be copied: %s", name, strerror(errno));
        return failed;
    }
    bool imported = copy_input(source, name, scratch) && lseek(scratch, 0, SEEK_SET) == 0
                    && import_settings(scratch, name, nullptr);
    if (imported) {
        StoreWriter writer;
        imported = lseek(scratch, 0, SEEK_SET) == 0 && writer.begin(store_path(), Damaged::replace)
                   && import_settings(scratch, name, &writer) && writer.commit();
    }
    close(scratch);
    return imported ? 0 : failed;
}

int import_file(const char* path)
{
    if (path == nullptr || strcmp(path, "-") == 0)
        return import_copy(STDIN_FILENO, "standard input");
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        store_message("%s: cannot be read: %s", path, strerror(errno));
        return failed;
    }
    const int result = import_copy(fd, path);
    close(fd);
    return result;
}

// Reads all of `source` as lines of settings. Returns false after a message.
bool read_lines(int source, const char* name, MemoryArea& area, std::string_view& lines)
{
    const int scratch = open_scratch_file();
    if (scratch < 0) {
        store_message("%s: cannot be copied: %s", name, strerror(errno));
        return false;
    }
    LineReader reader(scratch);
    size_t size = 0;
    bool good = copy_input(source, name, scratch) && lseek(scratch, 0, SEEK_SET) == 0
                && import_settings(scratch, name, nullptr) && lseek(scratch, 0, SEEK_SET) == 0;
    for (std::string_view line; good && reader.next(line) == LineResult::line;) {
        SettingName setting;
        std::string_view value;
        if (parse_setting(line, setting, value) != nullptr)
            continue; // a comment: everything else was looked at before
        good = area.reserve(size + line.size() + 1);
        if (!good)
            break;
        memcpy(area.data() + size, line.data(), line.size());
        size += line.size();
        area.data()[size++] = '\n';
    }
    close(scratch);
    lines = {area.data(), size};
    return good;
}

int report(std::string_view lines)
{
    const unsigned found = check_settings(lines);
    const int written = finish_output();
    return written != 0 ? written : found > 0 ? failed : 0;
}

int check(const char* path)
{
    if (path == nullptr)
        return load_settings() ? report(settings.settings()) : misused;
    const bool is_input = strcmp(path, "-") == 0;
    const int fd = is_input ? dup(STDIN_FILENO) : open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        store_message("%s: cannot be read: %s", path, strerror(errno));
        return misused;
    }
    MemoryArea area;
    std::string_view lines;
    const bool is_read = read_lines(fd, is_input ? "standard input" : path, area, lines);
    close(fd);
    const int result = is_read ? report(lines) : misused;
    area.release();
    return result;
}

int show_help()
{
    write_text(usage);
    write_text(help);
    return finish_output();
}

// What a key is for can be told without a store, and a missing store is not created for it.
int help_about(const char* name)
{
    if (name == nullptr) {
        const int written = show_help();
        write_text("\nKeys:\n");
        list_known_settings();
        return written != 0 ? written : finish_output();
    }
    const bool has_store = access(store_path(), R_OK) == 0 && settings.refresh(store_path());
    const bool is_known = help_setting(name, has_store ? settings.settings() : std::string_view());
    const int written = finish_output();
    return written != 0 ? written : is_known ? 0 : failed;
}

int run(std::string_view verb, int arguments, const char* argument)
{
    if (verb == "--help" || verb == "-h")
        return arguments == 0 ? show_help() : complain_usage("help takes no argument");
    if (verb == "help")
        return arguments <= 1 ? help_about(argument) : complain_usage("help is about one key at most");
    if (verb == "check")
        return arguments <= 1 ? check(argument) : complain_usage("at most one file can be checked");
    if (verb == "get" || verb == "set" || verb == "unset") {
        if (arguments != 1)
            return complain_usage("one argument is needed");
        if (strchr(argument, '@') == nullptr)
            return complain_usage("there is no '@' in the argument");
        if (verb == "set" && strchr(argument, '=') == nullptr)
            return complain_usage("there is no '=' in the argument");
        return verb == "get" ? get(argument) : verb == "set" ? set(argument) : unset(argument);
    }
    if (verb == "list")
        return arguments <= 1 ? list(argument) : complain_usage("at most one section can be listed");
    if (verb == "export")
        return arguments == 0 ? list(nullptr) : complain_usage("export takes no argument");
    if (verb == "import")
        return arguments <= 1 ? import_file(argument) : complain_usage("at most one file can be imported");
    return complain_usage("there is no such verb");
}

} // namespace

int main(int argc, char* argv[])
{
    store_messages_to_stderr();
    setvbuf(stdout, output_buffer, _IOFBF, sizeof output_buffer);
    if (argc < 2)
        return complain_usage("a verb is needed");
    return run(argv[1], argc - 2, argc > 2 ? argv[2] : nullptr);
}
