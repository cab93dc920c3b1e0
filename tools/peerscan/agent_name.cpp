#include "peerscan/agent_name.h"

#include <arpa/inet.h>

namespace {

constexpr size_t longestHost = 16;

bool contains(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

} // namespace

std::optional<AgentName> parseAgentName(std::string_view text) {
    const size_t endOfHost = text.find('_');
    if (endOfHost == text.npos || endOfHost > longestHost)
        return std::nullopt;
    AgentName name;
    name.host = text.substr(0, endOfHost);
    if (::inet_addr(name.host.c_str()) == INADDR_NONE)
        return std::nullopt;
    text.remove_prefix(endOfHost + 1);
    const size_t endOfId = text.find('_');
    const std::string_view repositoryId = text.substr(0, endOfId);
    if (contains(repositoryId, "Activation") && contains(repositoryId, "OAD"))
        return std::nullopt;
    name.repositoryId = repositoryId;
    if (endOfId != text.npos)
        name.objectName = text.substr(endOfId + 1);
    return name;
}
