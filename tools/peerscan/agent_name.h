#pragma once

#include <optional>
#include <string>
#include <string_view>

// A name under which agents know an object: "<host>_<repository id>_<object name>".
struct AgentName {
    std::string host; // a dotted quad
    std::string repositoryId;
    std::optional<std::string> objectName; // everything behind the second '_'
};

// Nothing for a text of another form, and for the name of an activation daemon: the daemons are no
// implementations.
std::optional<AgentName> parseAgentName(std::string_view text);
