// Asks the location service of this process as it is told, one command a line on standard input, and ends
// each with the line "= RESULT", which is the exception's name when there was one. A description is "ID NAME
// HOST:PORT AGENT", with "activable" behind it where it is.
//
//     agents, ids, count (of all_available and all_available_descs), oads 0|1 (willRefreshOADs)
//     objects ID (NAME), descs ID (NAME): in order; NAME "-" asks for a replica without a name
//     watch HANDLER ID (NAME (HOST)), unwatch HANDLER ID (NAME (HOST)): "-" for none. HANDLER is a
//     stringified
//         reference, or the name of a handler of this process, which says "HANDLER ready" or "HANDLER down"
//         and the description, and then does as it is called: "raise" and "refuse" raise CORBA_NO_IMPLEMENT
//         and CORBA_BAD_OPERATION, "leave" takes its trigger back, "exit" ends the process
//     handler HANDLER: its reference

#include "agent/session/dsuser.h"

#include <harbolance/corba.h>
#include <harbolance/obj_location_skel.h>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace ObjLocation;
using std::string;

Agent_var service;

string textOf(const char* text) { return text && *text ? text : "-"; }

string textOf(const Desc& desc) {
    std::ostringstream text;
    text << textOf(desc.repository_id) << " " << textOf(desc.instance_name) << " "
         << textOf(desc.profile.host) << ":" << desc.profile.port << " " << textOf(desc.agent_hostname)
         << (desc.activable ? " activable" : "");
    return text.str();
}

TriggerDesc watched(const std::vector<string>& words) {
    const auto word = [&words](size_t i) {
        return i < words.size() && words[i] != "-" ? words[i].c_str() : "";
    };
    return {word(2), word(3), word(4)};
}

class Handler : public _sk_ObjLocation::_sk_TriggerHandler {
public:
    explicit Handler(string name) : name_(std::move(name)) {}

    void impl_is_ready(const Desc& desc) override { told("ready", desc); }
    void impl_is_down(const Desc& desc) override { told("down", desc); }

    TriggerDesc trigger;

private:
    void told(const char* event, const Desc& instance) {
        std::cout << name_ << " " << event << " " << textOf(instance) << std::endl;
        if (name_ == "exit")
            ::_exit(0);
        if (name_ == "raise")
            throw CORBA::NO_IMPLEMENT();
        if (name_ == "refuse")
            throw CORBA::BAD_OPERATION();
        if (name_ == "leave")
            service->unreg_trigger(trigger, this);
    }

    string name_;
};

Handler* ownHandler(const string& name) {
    static std::map<string, Handler*> handlers; // they live as long as the process
    Handler*& handler = handlers[name];
    if (!handler) {
        handler = new Handler(name);
        handler->_boa()->obj_is_ready(handler);
    }
    return handler;
}

template <class Items, class Text>
string listed(const Items& items, Text text) {
    string result = std::to_string(items.length());
    for (const auto& item : items)
        result += " | " + text(item);
    return result;
}

string resultOf(const std::vector<string>& words) {
    const string& command = words[0];
    const char* id = words.size() > 1 ? words[1].c_str() : "";
    const char* name = words.size() > 2 ? words[2].c_str() : nullptr;
    const auto plain = [](const char* text) { return textOf(text); };
    if (command == "agents")
        return listed(*NameSeq_var(service->all_agent_locations()), plain);
    if (command == "ids")
        return listed(*RepositoryIdSeq_var(service->all_repository_ids()), plain);
    if (command == "count")
        return std::to_string(ObjSeqSeq_var(service->all_available())->length()) + " " +
               std::to_string(DescSeqSeq_var(service->all_available_descs())->length());
    if (command == "oads")
        service->willRefreshOADs(*id == '1');
    if (command == "objects")
        return listed(*ObjSeq_var(name ? service->all_replica(id, name) : service->all_instances(id)),
                      [](CORBA::Object_ptr object) { return textOf(object->_object_name()); });
    if (command == "descs")
        return listed(
            *DescSeq_var(name ? service->all_replica_descs(id, name) : service->all_instances_descs(id)),
            [](const Desc& desc) { return textOf(desc); });
    if (command == "handler")
        return CORBA::String_var(TRXORB::current()->object_to_string(ownHandler(id))).in();
    if (command == "watch" || command == "unwatch") {
        const bool isReference = words[1].starts_with("IOR:");
        const CORBA::Object_var object(isReference ? TRXORB::current()->string_to_object(id)
                                                   : CORBA::Object::_duplicate(ownHandler(words[1])));
        const TriggerHandler_var handler(TriggerHandler::_narrow(object));
        if (auto* own = dynamic_cast<Handler*>(handler.in()))
            own->trigger = watched(words);
        if (command == "watch")
            service->reg_trigger(watched(words), handler);
        else
            service->unreg_trigger(watched(words), handler);
    }
    return "ok";
}

// Lines that are typed together are done in one turn of the loop.
class Probe : public dpIOHandler {
public:
    int inputReady(int) override {
        do
            done();
        while (std::cin.rdbuf()->in_avail() > 0);
        return 0;
    }

private:
    static void done() {
        string line;
        if (!std::getline(std::cin, line))
            std::exit(0);
        std::istringstream in(line);
        std::vector<string> words;
        for (string word; in >> word;)
            words.push_back(word);
        string result;
        try {
            result = resultOf(words);
        } catch (const Fail& fail) {
            result = "Fail " + std::to_string(fail.reason);
        } catch (const CORBA::Exception& exception) {
            result = exception._name();
        }
        std::cout << "= " << result << std::endl;
    }
};

} // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false); // what has been typed is then known
    CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    const CORBA::BOA_var boa = orb->BOA_init(argc, argv);
    const CORBA::Object_var object(orb->resolve_initial_references("LocationService"));
    service = Agent::_narrow(object);
    static auto& probe = *new Probe;
    dpDispatcher::instance()->link(STDIN_FILENO, dpDispatcher::readMask, &probe);
    const CORBA::Object_var again(orb->resolve_initial_references("LocationService"));
    std::cout << "ready " << (again.in() == object.in()) << std::endl;
    for (;;)
        dpDispatcher::instance()->dispatch();
}
