#include "line_reader.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "text_parts.h"

bool LineReader::fill()
{
    if (start_ > 0) {
        memmove(buffer_, buffer_ + start_, end_ - start_);
        end_ -= start_;
        start_ = 0;
    }
    ssize_t got;
    do {
        got = read(fd_, buffer_ + end_, sizeof buffer_ - end_);
    } while (got < 0 && errno == EINTR);
    if (got < 0)
        return false;
    at_end_ = got == 0;
    end_ += static_cast<size_t>(got);
    return true;
}

LineResult LineReader::next(std::string_view& line)
{
    size_t searched = 0;
    for (;;) {
        const std::string_view rest(buffer_ + start_, end_ - start_);
        const size_t line_end = rest.find('\n', searched);
        if (line_end != rest.npos) {
            line = first_part(rest, line_end);
            start_ += line_end + 1;
            ++number_;
            return LineResult::line;
        }
        if (at_end_) {
            if (rest.empty())
                return LineResult::end;
            line = rest;
            start_ = end_;
            ++number_;
            return LineResult::line;
        }
        if (rest.size() == sizeof buffer_) {
            line = rest;
            ++number_;
            return LineResult::too_long;
        }
        searched = rest.size();
        if (!fill())
            return LineResult::failed;
    }
}
