// Files: descriptors and streams that close themselves, a buffered writer, one-word state files, kernel switches.
//
// Everything is opened close-on-exec, because the shell lines that the program runs leave daemons behind.
#pragma once

#include <cstddef>
#include <cstdio>

#include "text.h"

class FileDescriptor {
public:
    FileDescriptor(const char* path, int flags);
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool is_open() const { return descriptor_ >= 0; }
    int number() const { return descriptor_; }
    // Writes all of it, or as much as the system takes.
    void write(const char* bytes, std::size_t length) const;

private:
    int descriptor_;
};

class Stream {
public:
    explicit Stream(std::FILE* file) : file_(file) {}
    // Opens for reading; a symbolic link is not followed.
    explicit Stream(const char* path);
    ~Stream()
    {
        if (file_ != nullptr)
            std::fclose(file_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool is_open() const { return file_ != nullptr; }
    std::FILE* get() const { return file_; }

    // Reads one line, its line end included, of at most N - 1 bytes; a longer line comes in pieces. False at the end.
    template <std::size_t N>
    bool read_line(char (&line)[N])
    {
        return std::fgets(line, static_cast<int>(N), file_) != nullptr;
    }

private:
    std::FILE* file_;
};

// Writes a text file through a buffer. A symbolic link is not followed.
class FileWriter {
public:
    enum class Mode { replace, append };

    FileWriter(const char* path, Mode mode);
    ~FileWriter() { flush(); }

    bool is_open() const { return file_.is_open(); }
    void put(const char* text);
    void put_line(const char* text);

    // One formatted piece of at most 511 bytes.
    template <class... A>
    void print(FormatFor<A...> format, const A&... values)
    {
        Text<512> piece;
        piece.print(format, values...);
        put(piece);
    }

    // The same, followed by a line end.
    template <class... A>
    void line(FormatFor<A...> format, const A&... values)
    {
        print(format, values...);
        put("\n");
    }

private:
    void flush();

    FileDescriptor file_;
    std::size_t used_ = 0;
    char buffer_[2048];
};

// Writes `value` without a line end into a fresh file. Returns 1, or -1 when it cannot be opened for writing.
int set_tmp_value(const char* path, const char* value);

// Reads the first word of a file, cut to 63 bytes; a missing file reads as "0", one without a word leaves `value` as it
// was. Returns 1.
int get_tmp_value(const char* path, Text<64>& value);

// Writes `value` into /proc/sys/net/ipv6/conf/`if_name`/`key`; a missing one is passed over. A name that would lead
// elsewhere is logged and not written to.
void write_ipv6_conf(const char* value, const char* if_name, const char* key);
