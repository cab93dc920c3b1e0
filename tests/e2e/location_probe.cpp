// Asks the location service of this process as it is told, one command a line on standard input, and ends
// each with the line "= RESULT", which is the exception's name when there was one. A description is "ID NAME
// HOST:PORT AGENT", with "activable" behind it where it is.
//
//     agents, ids, count (of all_available and all_available_descs), oads 0 or 1 (willRefreshOADs)
//     objects ID (NAME), descs ID (NAME): of all instances, or replicas
//     watch HANDLER ID (NAME (HOST)), unwatch likewise. HANDLER is a reference, or names a handler of this
//     process,
//         which says "HANDLER ready" or "HANDLER down" and the description and does as it is called: "raise"
//         and "refuse" raise CORBA_NO_IMPLEMENT and CORBA_BAD_OPERATION, "leave" takes its trigger back,
//         "make" makes an object of that name ready, "exit" ends
//     handler HANDLER: its reference

#include <harbolance/agent.h>
#include <harbolance/corba.h>
#include <harbolance/obj_location_skel.h>

#include <unistd.h>

#include <iostream>
#include <map>
#include <sstream>

namespace {

using namespace ObjLocation;
using std::string;

Agent_var service;

string textOf(const char* text) { return *text ? text : "-"; }

string textOf(const Desc& desc) {
    return textOf(desc.repository_id) + " " + textOf(desc.instance_name) + " " + desc.profile.host.in() +
           ":" + std::to_string(desc.profile.port) + " " + desc.agent_hostname.in() +
           (desc.activable ? " activable" : "");
}

string textOf(CORBA::Object_ptr object) { return textOf(object->_object_name()); }

// Takes the sequence over.
template <class Items>
string listed(Items* items) {
    const TRXVar<Items> held(items);
    string result = std::to_string(items->length());
    for (const auto& item : *items)
        result += " | " + textOf(item);
    return result;
}

struct Handler : _sk_ObjLocation::_sk_TriggerHandler {
    explicit Handler(const char* object = nullptr) : _sk_TriggerHandler(object) {}

    void impl_is_ready(const Desc& desc) override { told(" ready ", desc); }
    void impl_is_down(const Desc& desc) override { told(" down ", desc); }

    void told(const char* event, const Desc& desc) {
        std::cout << name << event << textOf(desc) << std::endl;
        if (name == "exit")
            ::_exit(0);
        if (name == "raise")
            throw CORBA::NO_IMPLEMENT();
        if (name == "refuse")
            throw CORBA::BAD_OPERATION();
        if (name == "make")
            _boa()->obj_is_ready(new Handler("made"));
        if (name == "leave")
            service->unreg_trigger(trigger, this);
    }

    string name;
    TriggerDesc trigger;
};

// They live as long as the process.
Handler* ownHandler(const string& name) {
    static std::map<string, Handler*> handlers;
    Handler*& handler = handlers[name];
    if (!handler) {
        handler = new Handler;
        handler->name = name;
        handler->_boa()->obj_is_ready(handler);
    }
    return handler;
}

void trigger(bool begins, const string& name, const TriggerDesc& desc) {
    TriggerHandler_var handler;
    if (name.starts_with("IOR:")) {
        handler =
            TriggerHandler::_narrow(CORBA::Object_var(TRXORB::current()->string_to_object(name.c_str())));
    } else {
        ownHandler(name)->trigger = desc;
        handler = TriggerHandler::_duplicate(ownHandler(name));
    }
    begins ? service->reg_trigger(desc, handler) : service->unreg_trigger(desc, handler);
}

string resultOf(const string& line) {
    string command, first, second, third, fourth;
    std::istringstream(line) >> command >> first >> second >> third >> fourth;
    const char* id = first.c_str();
    const char* name = second.c_str();
    if (command == "agents")
        return listed(service->all_agent_locations());
    if (command == "ids")
        return listed(service->all_repository_ids());
    if (command == "count")
        return std::to_string(ObjSeqSeq_var(service->all_available())->length()) + " " +
               std::to_string(DescSeqSeq_var(service->all_available_descs())->length());
    if (command == "objects")
        return listed(second.empty() ? service->all_instances(id) : service->all_replica(id, name));
    if (command == "descs")
        return listed(second.empty() ? service->all_instances_descs(id)
                                     : service->all_replica_descs(id, name));
    if (command == "handler")
        return CORBA::String_var(TRXORB::current()->object_to_string(ownHandler(first))).in();
    if (command == "oads")
        service->willRefreshOADs(first == "1");
    else
        trigger(command == "watch", first, {name, third.c_str(), fourth.c_str()});
    return "ok";
}

// Lines that are typed together are done in one turn of the loop.
struct Probe : dpIOHandler {
    int inputReady(int) override {
        do {
            string line;
            if (!std::getline(std::cin, line))
                std::exit(0);
            string result;
            try {
                result = resultOf(line);
            } catch (const Fail& fail) {
                result = "Fail " + std::to_string(fail.reason);
            } catch (const CORBA::Exception& exception) {
                result = exception._name();
            }
            std::cout << "= " << result << std::endl;
        } while (std::cin.rdbuf()->in_avail() > 0);
        return 0;
    }
} probe;

} // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false); // what has been typed is then known
    CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    orb->BOA_init(argc, argv);
    const CORBA::Object_var object(orb->resolve_initial_references("LocationService"));
    const CORBA::Object_var again(orb->resolve_initial_references("LocationService"));
    service = Agent::_narrow(object);
    dpDispatcher::instance()->link(STDIN_FILENO, dpDispatcher::readMask, &probe);
    std::cout << "ready " << (again.in() == object.in()) << std::endl;
    for (;;)
        dpDispatcher::instance()->dispatch();
}
