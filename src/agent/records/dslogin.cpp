#include "agent/records/dslogin.h"

#include "net/host_address.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <string>

using namespace harbolance;

const NCTypeInfo DSLogin::info("DSLogin", ncCreate<DSLogin>, {&DSResource::info});
const NCTypeInfo DSUserInfo::info("DSUserInfo", ncCreate<DSUserInfo>);

namespace {

constexpr int unixMachine = 2;

std::string currentHost() {
    if (const auto name = thisHostName())
        return *name;
    std::perror("DSLogin::gethostname:");
    return "Unknown";
}

std::string lookUpUser() {
    // The login name of the terminal is preferred; a daemon has none, and its user id is looked up.
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
    // Computed once per process, because the look-up may ask a directory service over the network.
    static const std::string user = lookUpUser();
    userName_ = user.c_str();
}

void DSUserInfo::printOn(NCostream& out) const {
    out.write("\nClassName: DSUserInfo\n");
    out.write("User Name:").write(userName_.str()).write("\n");
    out.write("Process id:").write(processId_).write("\n");
    hostAddr_.printOn(out);
}
