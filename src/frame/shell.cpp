#include "shell.h"

#include "log.h"
#include "platform/common_library.h"

namespace {

int run_line(const char* line, bool fits)
{
    if (!fits) {
        log_line("zel_system", "line too long, not run: %s", line);
        return -1;
    }
    const int status = osSystem(line);
    log_line("zel_system", "[%d]%s", status, line);
    return status;
}

} // namespace

int zel_system(const ShellLine& line)
{
    return run_line(line.c_str(), line.fits());
}

int run_composed(const char* format, const ShellValue* values, std::size_t count)
{
    char line[shell_line_size];
    const bool fits = compose_shell_line(line, sizeof line, format, values, count);
    return run_line(line, fits);
}

int shell_output(const ShellLine& line, char* output, std::size_t size)
{
    if (!line.fits()) {
        log_line("zel_system", "line too long, not run: %s", line.c_str());
        return -1;
    }
    return osSystem_GetOutput(line.c_str(), output, static_cast<int>(size));
}
