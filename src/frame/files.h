// Files: descriptors and streams that close themselves, a buffered writer, one-word state files, kernel switches.
//
// Everything is opened close-on-exec, because the shell lines that the program runs leave daemons behind, and without
// following a symbolic link, because others may write to /tmp. What is no regular file counts as one that cannot be
// opened: opening or reading a FIFO would wait for whoever is at its other end.
#pragma once

#include <cstddef>
#include <cstdio>

#include "text.h"

class FileDescriptor {
public:
    // Opens a file with the `flags` of open(2), and with `mode` when they create it.
    FileDescriptor(const char* path, int flags, unsigned mode = 0644);
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool is_open() const { return descriptor_ >= 0; }
    int number() const { return descriptor_; }
    // The descriptor, which the caller closes.
    int give_away()
    {
        const int given = descriptor_;
        descriptor_ = -1;
        return given;
    }
    // Writes all of it, or as much as the system takes; false then.
    bool write(const char* bytes, std::size_t length) const;

private:
    int descriptor_;
};

class Stream {
public:
    explicit Stream(std::FILE* file) : file_(file) {}
    // Opens for reading.
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

// Writes a text file through a buffer.
class FileWriter {
public:
    enum class Mode {
        replace, // the file is emptied at once
        append,
        whole, // the file stays as it was until put_in_place; nobody reads a part of the new one
    };

    FileWriter(const char* path, Mode mode);
    ~FileWriter();

    bool is_open() const { return file_.is_open(); }
    void put(const char* text);
    void put_line(const char* text);

    // One formatted piece of at most 511 bytes.
    template <class... A>
    void print(FormatFor<A...> format, const A&... values)
    {
        put_formatted(format.text, printf_value(values)...);
    }

    // The same, followed by a line end.
    template <class... A>
    void line(FormatFor<A...> format, const A&... values)
    {
        print(format, values...);
        put("\n");
    }

    // Ends the writing in the mode `whole`. False when the system did not take all of it; the file stays as it was.
    bool put_in_place();

private:
    void put_formatted(const char* format, ...);
    void flush();

    Text<64> path_;
    Text<64> fresh_path_; // where a whole file is written; empty in the other modes
    FileDescriptor file_;
    bool complete_ = true;
    std::size_t used_ = 0;
    char buffer_[2048];
};

// Writes `value` without a line end into a fresh file. Returns 1, or -1 when it cannot be opened for writing.
int set_tmp_value(const char* path, const char* value);

// Reads the first word of a file, cut to 63 bytes; a missing file reads as "0", one without a word leaves `value` as it
// was. Returns 1.
int get_tmp_value(const char* path, Text<64>& value);

// Removes what stands at `path` when it is neither a regular file nor a folder: for paths that a shell line writes to,
// which would follow a symbolic link and wait at a FIFO.
void remove_link(const char* path);

// Removes a FIFO, or a link to one, at `path`: for paths that a shell line reads, where a link may be wanted.
void remove_fifo(const char* path);

// True for a name that leads to one entry of a folder and nowhere else.
bool is_folder_name(const char* name);

// Writes `value` into /proc/sys/net/ipv6/conf/`if_name`/`key`; a missing one is passed over. A name that would lead
// elsewhere is logged and not written to.
void write_ipv6_conf(const char* value, const char* if_name, const char* key);
