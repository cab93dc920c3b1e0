#include "agent/records/dslogin.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <string>

using namespace harbolance;

const NCTypeInfo DSLogin::info("DSLogin", ncCreate<DSLogin>, {&DSResource::info});

namespace {

constexpr int unixMachine = 2;

std::string currentHost() {
    char name[100] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        std::perror("DSLogin::gethostname:");
        return "Unknown";
    }
    return name;
}

std::string lookUpUser() {
    if (const char* name = getlogin())
        return name;
    if (const passwd* entry = getpwuid(getuid()))
        return entry->pw_name;
    return "Unix User";
}

} // namespace

DSLogin::DSLogin(const char* loginName, const char* loginExtra)
    : hostName_(currentHost().c_str()), loginName_(loginName), loginExtra_(loginExtra), processId_(getpid()),
      machineType_(unixMachine) {
    static const std::string user = lookUpUser();
    userName_ = user.c_str();
}

DSLogin::DSLogin(NCistream& in)
    : DSResource(in), hostName_(in), loginName_(in), loginExtra_(in), userName_(in) {
    in.read(processId_).read(machineType_).read(verifyPort_);
}

void DSLogin::write(NCostream& out) const {
    out.writeEmbedded(hostName_)
        .writeEmbedded(loginName_)
        .writeEmbedded(loginExtra_)
        .writeEmbedded(userName_);
    out.write(processId_).write(machineType_).write(verifyPort_);
}

void DSLogin::printOn(NCostream& out) const {
    out.write("Host Name: ").write(hostName_.str()).write("\n");
    out.write("Login Name: ").write(loginName_.str()).write("\n");
    out.write("User Name: ").write(userName_.str()).write("\n");
    out.write("Process id:").write(processId_).write("\n");
    out.write("Machine Type: ").write(machineType_).write("\n");
    out.write("Verify Port: ").write(verifyPort_).write("\n");
}

uint32_t DSLogin::hash() const { return hostName_.hash() ^ loginName_.hash() ^ loginExtra_.hash(); }

int DSLogin::compare(const NCObject* other) const {
    const auto* that = nc_cast<DSLogin>(other);
    if (!that)
        return -1;
    if (const int order = hostName_.compare(&that->hostName_))
        return order;
    if (const int order = loginName_.compare(&that->loginName_))
        return order;
    return loginExtra_.compare(&that->loginExtra_);
}

uint64_t DSLogin::fingerprint() const {
    uint64_t print = mixFingerprint(0, stringFingerprint(hostName_.text()));
    print = mixFingerprint(print, stringFingerprint(loginName_.text()));
    return mixFingerprint(print, stringFingerprint(loginExtra_.text()));
}
