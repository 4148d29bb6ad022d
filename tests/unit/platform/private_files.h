// The device's files as a test sees them: /tmp, /var/run, /dev/console, /proc/sys and /proc/net lie in a directory of
// this process, so that tests neither meet each other nor touch the machine.
#pragma once

#include <string>
#include <vector>

// Where a path of the device lies. Other paths are returned as they are.
std::string private_path(const std::string& path);

// Empties every directory of the device and makes each path openable again.
void reset_private_files();
void remove_private_files();

void write_file(const std::string& path, const std::string& content);
// The content, "(missing)" when there is no such file.
std::string read_file(const std::string& path);
bool file_exists(const std::string& path);
void make_directory(const std::string& path);
void make_symbolic_link(const std::string& target, const std::string& path);

// Lets every open of `path` fail.
void make_unopenable(const std::string& path);

// The diagnostic log and the console so far, line by line without the line ends.
std::vector<std::string> log_lines();
std::vector<std::string> console_lines();
