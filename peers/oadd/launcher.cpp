#include "oadd/launcher.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

using namespace harbolance;

namespace oadd {

namespace {

constexpr size_t numberWidth = 12; // of a process id, with its sign and the zero behind it

// Variables of the daemon that are passed to servers: the program path, the language, and the domain.
constexpr std::array keptVariables = {"PATH",
                                      "LANG",
                                      "LC_ALL",
                                      "TZ",
                                      "HOME",
                                      "LOCD_PORT",
                                      "LOCD_ADDR",
                                      "LOCD_ADDR_FILE",
                                      "LOCD_LOCAL_FILE",
                                      "HARBOLANCE_ADM"};

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Everything that the child needs. Between fork and exec it may only call what is safe in a handler of
// signals: it allocates nothing.
struct Child {
    const char* path;
    int file; // -1: by path
    char* const* arguments;
    char* const* environment;
    char* number; // at least `numberWidth` octets
    int input;
    int failure;
    rlim_t descriptors;
    pid_t parent;
};

void writeNumber(char* text, long number) {
    char digits[numberWidth];
    size_t count = 0;
    for (unsigned long rest = static_cast<unsigned long>(number); rest > 0 || count == 0; rest /= 10)
        digits[count++] = static_cast<char>('0' + rest % 10);
    *text++ = '-';
    while (count > 0)
        *text++ = digits[--count];
    *text = '\0';
}

void resetSignals() {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    for (int signal = 1; signal < _NSIG; ++signal)
        ::sigaction(signal, &usual, nullptr); // some cannot be changed
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Not closed yet: the program's file and the pipe for failures are needed until the program runs.
void closeAtExec(rlim_t descriptors) {
    constexpr unsigned first = STDERR_FILENO + 1;
    if (::syscall(SYS_close_range, first, ~0U, CLOSE_RANGE_CLOEXEC) == 0)
        return;
    for (rlim_t fd = first; fd < descriptors; ++fd)
        ::fcntl(static_cast<int>(fd), F_SETFD, FD_CLOEXEC);
}

[[noreturn]] void become(const Child& child) {
    ::setpgid(0, 0);
    resetSignals();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (::getppid() == child.parent && ::dup2(child.input, STDIN_FILENO) >= 0 &&
        ::dup2(STDERR_FILENO, STDOUT_FILENO) >= 0 && ::chdir("/") == 0) {
        closeAtExec(child.descriptors);
        writeNumber(child.number, ::getpid());
        if (child.file >= 0)
            ::syscall(SYS_execveat, child.file, "", child.arguments, child.environment, AT_EMPTY_PATH);
        else
            ::execve(child.path, child.arguments, child.environment);
    }
    const int error = errno;
    static_cast<void>(::write(child.failure, &error, sizeof error) != 0);
    ::_exit(EXIT_FAILURE);
}

} // namespace

std::vector<std::string> argumentsFor(const Registration& registration, const ServerSetting& setting) {
    std::vector<std::string> words = registration.arguments;
    words.insert(words.end(), setting.orbArguments.begin(), setting.orbArguments.end());
    words.insert(words.end(), {"-OAactivateIOR", setting.reference, "-OAoad_uid", ""});
    return words;
}

std::vector<std::string> environmentFor(const Registration& registration) {
    std::vector<std::string> variables = registration.environment;
    for (const std::string name : keptVariables) {
        bool given = false;
        for (const std::string& variable : registration.environment)
            given = given || variable.starts_with(name + "=");
        const char* value = std::getenv(name.c_str());
        if (!given && value)
            variables.push_back(name + "=" + value);
    }
    return variables;
}

std::optional<Launched> launch(const Programs::Program& program, const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment) {
    std::vector<std::string> words = {program.path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    words.back().resize(numberWidth);
    std::vector<std::string> variables = environment;
    const std::vector<char*> argv = pointersTo(words);
    const std::vector<char*> envp = pointersTo(variables);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return std::nullopt;
    Descriptor reading(ends[0]);
    const Descriptor writing(ends[1]);
    const Descriptor nothing(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!nothing.isOpen())
        return std::nullopt;
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const Child child{program.path.c_str(),
                      program.script ? -1 : program.file.get(),
                      argv.data(),
                      envp.data(),
                      words.back().data(),
                      nothing.get(),
                      writing.get(),
                      limit.rlim_cur,
                      ::getpid()};
    const pid_t pid = ::fork();
    if (pid == 0)
        become(child);
    if (pid < 0)
        return std::nullopt;
    ::setpgid(pid, pid); // whichever of the two processes comes first
    return Launched{pid, std::move(reading)};
}

} // namespace oadd
