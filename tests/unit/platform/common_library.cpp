#include "platform/common_library.h"

#include <cstring>

#include "frame/text.h"
#include "platform/shell_recorder.h"
#include "platform/touched_settings.h"

namespace {

int run(const char* line)
{
    ShellRecorder& recorder = shell_recorder();
    recorder.lines.emplace_back(line);
    note_settings_of_line(line);
    if (const auto effect = recorder.effect.find(line); effect != recorder.effect.end())
        effect->second();
    const auto status = recorder.status.find(line);
    return status != recorder.status.end() ? status->second : 0;
}

} // namespace

ShellRecorder& shell_recorder()
{
    static ShellRecorder recorder;
    return recorder;
}

int osSystem(const char* line)
{
    return run(line);
}

int osSystem_GetOutput(const char* line, char* buf, int size)
{
    if (run(line) < 0)
        return -1;
    const std::string& output = shell_recorder().output[line];
    copy_text(buf, static_cast<std::size_t>(size), output.data(), output.size());
    return static_cast<int>(std::strlen(buf));
}

void utilStrTrimChar(char* text, const char* chars)
{
    const std::string_view view(text);
    const std::size_t first = view.find_first_not_of(chars);
    if (first == std::string_view::npos) {
        text[0] = '\0';
        return;
    }
    const std::size_t length = view.find_last_not_of(chars) + 1 - first;
    std::memmove(text, text + first, length);
    text[length] = '\0';
}
