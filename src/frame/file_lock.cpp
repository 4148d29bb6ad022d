#include "file_lock.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "files.h"
#include "log.h"

namespace {

constexpr char name[] = "FileLock";

volatile std::sig_atomic_t out_of_patience = 0;

void note_alarm(int)
{
    out_of_patience = 1;
}

// From start() on, SIGALRM ends system calls that wait: after `seconds`, and again every second, so that one that comes
// just before the call does not get lost.
class Alarm {
public:
    Alarm() = default;
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    ~Alarm()
    {
        if (!started_)
            return;
        const itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigprocmask(SIG_SETMASK, &mask_before_, nullptr);
        sigaction(SIGALRM, &action_before_, nullptr);
    }

    void start(int seconds)
    {
        if (started_)
            return;
        started_ = true;
        out_of_patience = 0;
        struct sigaction action = {}; // no SA_RESTART
        action.sa_handler = note_alarm;
        sigaction(SIGALRM, &action, &action_before_);
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        sigprocmask(SIG_UNBLOCK, &alarm, &mask_before_);
        itimerval timer = {};
        timer.it_value.tv_sec = seconds;
        timer.it_interval.tv_sec = 1;
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

private:
    bool started_ = false;
    struct sigaction action_before_ = {};
    sigset_t mask_before_ = {};
};

// Returns 0, or the error; ETIMEDOUT when the alarm came first.
int lock(int file, int patience, Alarm& alarm)
{
    struct flock whole_file = {};
    whole_file.l_type = F_WRLCK;
    whole_file.l_whence = SEEK_SET;
    if (fcntl(file, F_SETLK, &whole_file) == 0)
        return 0;
    if (errno != EACCES && errno != EAGAIN)
        return errno;
    alarm.start(patience);
    while (fcntl(file, F_SETLKW, &whole_file) != 0) {
        if (errno != EINTR)
            return errno;
        if (out_of_patience != 0)
            return ETIMEDOUT;
    }
    return 0;
}

// False when the holder before has removed the file from its place meanwhile, so that it guards nothing any more.
bool is_in_its_place(const char* path, int file)
{
    struct stat opened = {};
    struct stat found = {};
    return fstat(file, &opened) == 0 && stat(path, &found) == 0 && opened.st_dev == found.st_dev
           && opened.st_ino == found.st_ino;
}

} // namespace

FileLock::FileLock(const char* path, int patience)
{
    lock_path_.print("%s.lock", path);
    Alarm alarm;
    for (;;) {
        FileDescriptor file(lock_path_, O_RDWR | O_CREAT, 0600);
        if (!file.is_open()) {
            log_line(name, "Can't open %s, going on without it.", lock_path_);
            return;
        }
        const int error = lock(file.number(), patience, alarm);
        if (error == ETIMEDOUT) {
            log_line(name, "%s is still held after %d seconds, going on without it.", lock_path_, patience);
            return;
        }
        if (error != 0) {
            log_line(name, "%s cannot be locked (%d), going on without it.", lock_path_, error);
            return;
        }
        if (is_in_its_place(lock_path_, file.number())) {
            descriptor_ = file.give_away();
            return;
        }
    }
}

FileLock::~FileLock()
{
    if (descriptor_ < 0)
        return;
    unlink(lock_path_); // while it is held: a waiting one sees that it has to open it anew
    close(descriptor_);
}
