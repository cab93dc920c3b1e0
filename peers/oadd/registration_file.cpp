#include "oadd/registration_file.h"

#include "oadd/log.h"

#include "base/quoted_text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

using namespace harbolance;

namespace oadd {

namespace {

constexpr size_t longestFile = 256 << 20;
constexpr size_t longestText = 1 << 20;
constexpr mode_t ownersOnly = 0600; // environments may contain secrets
constexpr std::string_view firstLine = "oadd registrations 1";

// One line: its first word, and the text after the spaces that follow it.
struct Line {
    std::string_view word;
    std::string_view rest;
};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const size_t first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

Line split(std::string_view text) {
    const size_t end = std::min(text.find_first_of(" \t"), text.size());
    return {text.substr(0, end), trimmed(text.substr(end))};
}

class Parser {
public:
    std::variant<Registry, FileFault> parse(std::string_view text) {
        while (!text.empty() && !ended_ && fault_.empty()) {
            const size_t end = text.find('\n');
            ++number_;
            takeLine(trimmed(text.substr(0, end)));
            text.remove_prefix(end == text.npos ? text.size() : end + 1);
        }
        if (fault_.empty() && !begun_)
            complain(std::string("the first line is not '") + std::string(firstLine) + "'");
        if (fault_.empty() && !ended_)
            complain("the last line is not 'end': the file has been cut short");
        if (fault_.empty() && text.find_first_not_of(" \t\r\n") != text.npos)
            complain("there is more behind 'end'");
        if (!fault_.empty())
            return FileFault{std::max<size_t>(number_, 1), fault_};
        return std::move(registry_);
    }

private:
    void complain(std::string what) { fault_ = std::move(what); }

    void takeLine(std::string_view text) {
        if (text.empty() || text.front() == '#')
            return;
        if (!begun_) {
            begun_ = text == firstLine;
            if (!begun_)
                complain("the first line is not '" + std::string(firstLine) + "'");
            return;
        }
        const Line line = split(text);
        if (line.word == "implementation" || line.word == "end") {
            if (!line.rest.empty())
                complain("there is more behind '" + std::string(line.word) + "'");
            else
                finish();
            ended_ = line.word == "end";
            if (!ended_)
                current_ = std::make_unique<Registration>();
        } else if (line.word == "destroy-on-unregister" && !current_) {
            takeSwitch(line.rest);
        } else if (current_) {
            takeFact(line);
        } else {
            complain("'" + std::string(line.word) + "' stands before the first 'implementation'");
        }
    }

    void takeSwitch(std::string_view value) {
        if (value != "yes" && value != "no")
            complain("destroy-on-unregister is yes or no");
        registry_.destroyOnUnregister = value == "yes";
    }

    void takeFact(const Line& line) {
        if (line.word == "interface")
            takeText(line.rest, current_->object.repId);
        else if (line.word == "name")
            takeText(line.rest, current_->object.name);
        else if (line.word == "path")
            takeText(line.rest, current_->path);
        else if (line.word == "data")
            takeText(line.rest, current_->data);
        else if (line.word == "argument")
            takeText(line.rest, current_->arguments.emplace_back());
        else if (line.word == "variable")
            takeText(line.rest, current_->environment.emplace_back());
        else if (line.word == "policy")
            takePolicy(line.rest);
        else
            complain("'" + std::string(line.word) + "' is no known word");
    }

    void takePolicy(std::string_view name) {
        for (const CORBA_ULong policy : {SHARED_SERVER, UNSHARED_SERVER, SERVER_PER_METHOD}) {
            if (name == nameOfPolicy(policy)) {
                current_->policy = policy;
                return;
            }
        }
        complain("the policy is none of shared, unshared and per-method");
    }

    void takeText(std::string_view quoted, std::string& text) {
        if (!text.empty())
            return complain("this was said before");
        std::istringstream in{std::string(quoted)};
        const QuotedText result = readQuoted(in, text, longestText);
        std::string behind;
        if (result != QuotedText::good)
            complain("this is no text in quotes");
        else if (std::getline(in, behind); !trimmed(behind).empty())
            complain("there is more behind the text");
    }

    // Stores the implementation that has been read, if there is one.
    void finish() {
        if (!current_)
            return;
        const std::shared_ptr<const Registration> made(std::move(current_));
        fault_ = faultOf(*made);
        if (fault_.empty() && !made->path.starts_with('/'))
            fault_ = "the path does not begin with '/'";
        if (!fault_.empty())
            fault_ = "the implementation that ends here: " + fault_;
        else if (!registry_.entries.emplace(made->object, made).second)
            fault_ = "the implementation that ends here stands in the file twice";
    }

    Registry registry_;
    std::unique_ptr<Registration> current_; // being read
    std::string fault_;
    size_t number_ = 0;
    bool begun_ = false;
    bool ended_ = false;
};

void writeText(std::ostream& out, const char* word, const std::string& text) {
    out << word << ' ';
    writeQuoted(out, text);
}

std::string failure(const std::string& what, const std::string& path) {
    return "cannot " + what + " " + path + ": " + std::strerror(errno);
}

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = uninterrupted([&] { return ::write(fd, text.data(), text.size()); });
        if (count < 0)
            return false;
        text.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

// False with errno set; `text` then contains what was read so far.
bool readAll(int fd, std::string& text) {
    char part[1 << 16];
    for (;;) {
        const ssize_t count = uninterrupted([&] { return ::read(fd, part, sizeof part); });
        if (count <= 0)
            return count == 0;
        text.append(part, static_cast<size_t>(count));
        if (text.size() > longestFile) {
            errno = EFBIG;
            return false;
        }
    }
}

} // namespace

std::variant<Registry, FileFault> parseRegistry(std::string_view text) { return Parser().parse(text); }

std::string formatRegistry(const Registry& registry) {
    std::ostringstream out;
    out << firstLine << "\ndestroy-on-unregister " << (registry.destroyOnUnregister ? "yes" : "no") << "\n\n";
    for (const auto& [object, entry] : registry.entries) {
        out << "implementation\n";
        writeText(out, "interface", object.repId);
        if (!object.name.empty())
            writeText(out, "name", object.name);
        writeText(out, "path", entry->path);
        out << "policy " << nameOfPolicy(entry->policy) << '\n';
        if (!entry->data.empty())
            writeText(out, "data", entry->data);
        for (const std::string& argument : entry->arguments)
            writeText(out, "argument", argument);
        for (const std::string& variable : entry->environment)
            writeText(out, "variable", variable);
        out << '\n';
    }
    out << "end\n";
    return std::move(out).str();
}

std::optional<std::string> RegistrationFile::open(Registry& registry) {
    const std::string lockPath = path_ + ".lock";
    lock_.reset(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, ownersOnly));
    if (!lock_.isOpen())
        return failure("make", lockPath) + "; name a file in a folder of yours with --registrations";
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0)
        return "another oadd uses " + path_ + "; end it, or name another file with --registrations";
    const Descriptor file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen() && errno == ENOENT)
        return std::nullopt;
    std::string text;
    if (!file.isOpen() || !readAll(file.get(), text))
        return failure("read", path_);
    auto parsed = parseRegistry(text);
    if (const auto* fault = std::get_if<FileFault>(&parsed))
        return path_ + ":" + std::to_string(fault->line) + ": " + fault->what +
               "; mend the file or move it away, it is left as it is";
    registry = std::move(std::get<Registry>(parsed));
    return std::nullopt;
}

bool RegistrationFile::save(const Registry& registry) const {
    const std::string fresh = path_ + ".new";
    ::unlink(fresh.c_str()); // left by a crash
    Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, ownersOnly));
    if (!file.isOpen() || !writeAll(file.get(), formatRegistry(registry)) || ::fsync(file.get()) != 0 ||
        !file.close() || ::rename(fresh.c_str(), path_.c_str()) != 0)
        return false;
    // The rename is safe only after the folder has been synced too.
    const std::string folder = std::filesystem::path(path_).parent_path();
    const Descriptor parent(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // The change has been made, so a failure here must not be reported as a failure of the change.
    if (!parent.isOpen() || ::fsync(parent.get()) != 0)
        log(LogLevel::warning,
            path_ + ": the folder cannot be synced, so a power cut may lose the last change");
    return true;
}

} // namespace oadd
