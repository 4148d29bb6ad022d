// Settings of the device, read and changed from the shell.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <string_view>

#include "ccfg_verbs.h"
#include "frame/text.h"
#include "input_copy.h"
#include "memory_area.h"
#include "scratch_file.h"
#include "setting_help.h"
#include "setting_name.h"
#include "settings_file.h"
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

Snapshot settings;
char output_buffer[8192];

// The start of an argument, as a message shows it.
const char* shown(const char* argument)
{
    constexpr size_t longest = 80;
    return printable(first_part(argument, longest));
}

// The reason is told with the usage of the verb, or, when it is null, of all.
int complain_usage(const CcfgVerb* verb, const char* reason)
{
    fprintf(stderr, "ccfg_cli: %s\n", reason);
    write_usage(stderr, verb);
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

// For somebody who would wonder about no output at all; scripts go by the status.
void tell_terminal(const char* what)
{
    if (isatty(STDOUT_FILENO) == 1)
        fprintf(stderr, "ccfg_cli: %s\n", what);
}

int get(const char* argument)
{
    SettingName name;
    if (const char* const fault = parse_name(argument, name))
        return complain_argument(argument, fault);
    std::string_view value;
    if (!load_settings())
        return failed;
    if (!settings.find(name.record(), value)) {
        tell_terminal("there is no such setting");
        return failed;
    }
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
    const int result = change(name, &value);
    if (result != 0 || isatty(STDOUT_FILENO) != 1)
        return result;
    check_setting(settings.settings(), name.record(), value); // somebody is there who may have mistyped it
    return finish_output();
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
    bool has_any = false;
    for (std::string_view rest = settings.settings(); !rest.empty();) {
        const StoredSetting setting = take_setting(rest);
        if (section != nullptr && !is_in_section(setting.record, section))
            continue;
        write_text(setting.record);
        write_text(setting.value);
        write_text("\n");
        has_any = true;
    }
    if (!has_any)
        tell_terminal(section != nullptr ? "there is no setting in this section" : "there is no setting");
    return finish_output();
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
    const bool good = copy_input(source, name, scratch) && lseek(scratch, 0, SEEK_SET) == 0
                      && read_settings(scratch, name, area, lines);
    close(scratch);
    return good;
}

int report(std::string_view lines, const char* file)
{
    const unsigned found = check_settings(lines, file);
    const int written = finish_output();
    return written != 0 ? written : found > 0 ? failed : 0;
}

int check(const char* path)
{
    if (path == nullptr)
        return load_settings() ? report(settings.settings(), nullptr) : misused;
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
    const int result = is_read ? report(lines, is_input ? nullptr : path) : misused;
    area.release();
    return result;
}

int show_help(const CcfgVerb* verb)
{
    write_verb_help(stdout, verb);
    return finish_output();
}

// What a key is for can be told without a store, and a missing store is not created for it.
SettingsInForce in_force()
{
    if (access(store_path(), R_OK) != 0)
        return {{}, errno == ENOENT ? nullptr : strerror(errno)};
    return settings.refresh(store_path()) ? SettingsInForce{settings.settings(), nullptr}
                                          : SettingsInForce{{}, "it is damaged"};
}

int help_about(const char* name)
{
    if (name == nullptr) {
        write_verb_help(stdout, nullptr);
        puts("\nKeys:");
        list_known_settings(in_force());
        return finish_output();
    }
    if (const CcfgVerb* const verb = find_verb(name))
        return show_help(verb);
    const bool is_known = help_setting(name, in_force());
    const int written = finish_output();
    return written != 0 ? written : is_known ? 0 : failed;
}

int complain_verb(const char* name)
{
    const CcfgVerb* const nearest = nearest_verb(name);
    Text<160> reason;
    reason.print("there is no verb \"%s\"%s%s%s", shown(name), nearest != nullptr ? "; did you mean " : "",
                 nearest != nullptr ? nearest->name : "", nearest != nullptr ? "?" : "");
    return complain_usage(nearest, reason);
}

int complain_name(const CcfgVerb* verb, const char* name)
{
    const std::string_view text = name;
    const Text<256> names = full_names(first_part(text, text.find('=')), in_force());
    Text<512> reason;
    reason.print("there is no '@' in \"%s\"%s%s%s", shown(name), names.empty() ? "" : "; did you mean ", names,
                 names.empty() ? "" : "?");
    return complain_usage(verb, reason);
}

// get, set and unset, which are about one setting.
int run_on_setting(const CcfgVerb* verb, int arguments, const char* argument)
{
    if (arguments != 1 || argument == nullptr)
        return complain_usage(verb, "one argument is needed");
    const std::string_view name = verb->name;
    if (strchr(argument, '@') == nullptr)
        return complain_name(verb, argument);
    if (name == "set" && strchr(argument, '=') == nullptr)
        return complain_usage(verb, "there is no '=' in the argument");
    return name == "get" ? get(argument) : name == "set" ? set(argument) : unset(argument);
}

int run(const CcfgVerb* verb, int arguments, const char* argument)
{
    const std::string_view name = verb->name;
    if (arguments == 1 && argument != nullptr && (strcmp(argument, "--help") == 0 || strcmp(argument, "-h") == 0))
        return show_help(verb);
    if (name == "get" || name == "set" || name == "unset")
        return run_on_setting(verb, arguments, argument);
    if (argument != nullptr && argument[0] == '-' && argument[1] != '\0') {
        Text<160> reason;
        reason.print("there is no option \"%s\"", shown(argument));
        return complain_usage(verb, reason);
    }
    if (name == "help")
        return arguments <= 1 ? help_about(argument) : complain_usage(verb, "help is about one key at most");
    if (name == "check")
        return arguments <= 1 ? check(argument) : complain_usage(verb, "at most one file can be checked");
    if (name == "list")
        return arguments <= 1 ? list(argument) : complain_usage(verb, "at most one section can be listed");
    if (name == "import")
        return arguments <= 1 ? import_file(argument) : complain_usage(verb, "at most one file can be imported");
    return arguments == 0 ? list(nullptr) : complain_usage(verb, "export takes no argument");
}

// The words that stand alone.
int run_word(const char* word, int arguments)
{
    const std::string_view name = word;
    const bool is_help = name == "--help" || name == "-h";
    if (!is_help && name != "--version")
        return complain_verb(word);
    if (arguments != 0)
        return complain_usage(nullptr, is_help ? "help takes no argument" : "--version takes no argument");
    if (is_help)
        return show_help(nullptr);
    puts("ccfg_cli (ipv6ctl) " IPV6CTL_VERSION);
    return finish_output();
}

} // namespace

int main(int argc, char* argv[])
{
    store_messages_to_stderr();
    setvbuf(stdout, output_buffer, _IOFBF, sizeof output_buffer);
    if (argc < 2)
        return complain_usage(nullptr, "a verb is needed");
    const CcfgVerb* const verb = find_verb(argv[1]);
    return verb != nullptr ? run(verb, argc - 2, argc > 2 ? argv[2] : nullptr) : run_word(argv[1], argc - 2);
}
