#include "oadctl/commands.h"

#include "marshal/reference/vutil.h"
#include "oadctl/report.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <ostream>

using harbolance::currentORB;

namespace {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string readReferenceFile(const std::string& name) {
    std::ifstream file(name);
    std::string reference;
    if (!(file >> reference))
        throw Failure(name + ": " + (errno != 0 ? std::strerror(errno) : "there is no reference in it"));
    return reference;
}

constexpr const char* silent =
    "the daemon does not answer in time; it may be looking for a location agent, or be stopped";
constexpr const char* notThere = "no activation daemon answers at the reference; is oadd running?";

// --- Finding the daemon ------------------------------------------------------------------------------------

Activation::OAD* byReference(const std::string& reference) {
    try {
        const CORBA_Object_var object(currentORB()->string_to_object(reference.c_str()));
        if (Activation::OAD* oad = Activation::OAD::_narrow(object.in()))
            return oad;
    } catch (const CORBA_INV_OBJREF&) {
        throw Failure("this is no sound reference: " + reference.substr(0, 80));
    } catch (const CORBA_SystemException&) {
        // nothing answers there
    }
    throw Failure(notThere);
}

Activation::OAD* byHost(const std::optional<std::string>& host) {
    const std::string where = host ? *host : "this host";
    try {
        const CORBA_String_var address(TRXUtil::host_address(host ? host->c_str() : nullptr));
        if (!address.in())
            throw Failure("the host " + where + " is unknown");
        if (Activation::OAD* oad = Activation::OAD::_bind(nullptr, address.in()))
            return oad;
    } catch (const CORBA_NO_RESPONSE&) {
        throw Failure(silent);
    } catch (const CORBA_SystemException&) {
        // the agents know none
    }
    throw Failure("no activation daemon of " + where +
                  " is known to the location agents; start oadd, or name one with --oad or --oad-file");
}

Activation::OAD* findDaemon(const Choice& choice) {
    if (choice.reference)
        return byReference(*choice.reference);
    if (choice.referenceFile)
        return byReference(readReferenceFile(*choice.referenceFile));
    return byHost(choice.host);
}

// --- The commands ------------------------------------------------------------------------------------------

CORBA_StringSequence sequenceOf(const std::vector<std::string>& texts) {
    CORBA_StringSequence sequence;
    sequence.length(static_cast<CORBA_ULong>(texts.size()));
    for (size_t i = 0; i < texts.size(); ++i)
        sequence[static_cast<CORBA_ULong>(i)] = texts[i].c_str();
    return sequence;
}

void registerImplementation(Activation::OAD& oad, const Choice& choice) {
    CORBA_OctetSequence data;
    data.length(static_cast<CORBA_ULong>(choice.data.size()));
    for (size_t i = 0; i < choice.data.size(); ++i)
        data[static_cast<CORBA_ULong>(i)] = static_cast<CORBA_Octet>(choice.data[i]);
    const TRXEXT_CreationImplDef definition(choice.interface.c_str(), choice.name.value_or("").c_str(), data,
                                            choice.program.c_str(), sequenceOf(choice.arguments),
                                            sequenceOf(choice.environment), choice.policy);
    const CORBA_Object_var made(oad.reg_implementation(definition));
}

void unregister(Activation::OAD& oad, const Choice& choice) {
    if (choice.everything)
        oad.unregister_all();
    else if (choice.wholeInterface)
        oad.unreg_interface(choice.interface.c_str());
    else
        oad.unreg_implementation(choice.interface.c_str(), choice.name.value_or("").c_str());
}

void show(Activation::OAD& oad, const Choice& choice, std::ostream& out) {
    const ReportForm form{choice.json, choice.action == Choice::Action::status};
    Activation::ImplementationStatusSeq_var all;
    if (choice.name) {
        all = new Activation::ImplementationStatusSeq(1);
        all->length(1);
        const Activation::ImplementationStatus_var one(
            oad.get_status(choice.interface.c_str(), choice.name->c_str()));
        (*all)[0] = *one;
    } else if (!choice.interface.empty()) {
        all = oad.get_status_interface(choice.interface.c_str());
    } else {
        all = oad.get_status_all();
    }
    report(out, *all, form);
}

void lookUp(Activation::OAD& oad, const Choice& choice, std::ostream& out) {
    const CORBA_Object_var found(
        choice.name ? oad.lookup_implementation(choice.interface.c_str(), choice.name->c_str(), choice.wait)
                    : oad.lookup_interface(choice.interface.c_str(), choice.wait));
    const CORBA_String_var text(currentORB()->object_to_string(found.in()));
    out << text.in() << "\n";
}

void call(Activation::OAD& oad, const Choice& choice, std::ostream& out) {
    switch (choice.action) {
    case Choice::Action::registering: registerImplementation(oad, choice); break;
    case Choice::Action::unregistering: unregister(oad, choice); break;
    case Choice::Action::lookup: lookUp(oad, choice, out); break;
    case Choice::Action::ending:
        if (choice.ending)
            oad.destroy_on_unregister(*choice.ending);
        else
            out << (oad.destroy_on_unregister() ? "yes\n" : "no\n");
        break;
    default: show(oad, choice, out); break;
    }
}

} // namespace

void execute(const Choice& choice, std::ostream& out) {
    const std::string what = choice.interface.empty()
                                 ? "an implementation"
                                 : objectText(choice.interface, choice.name.value_or(""));
    const Activation::OAD_var oad(findDaemon(choice));
    try {
        call(*oad, choice, out);
    } catch (const Activation::NotRegistered&) {
        throw Failure(what + " is not registered; oadctl list shows what is");
    } catch (const Activation::DuplicateEntry&) {
        throw Failure(what + " is registered already; unregister it first");
    } catch (const Activation::InvalidPath&) {
        throw Failure("the daemon may not start " + wordText(choice.program) +
                      ": it has to be an executable file below a folder that oadd was given with --programs; "
                      "the daemon's log says what is wrong");
    } catch (const Activation::IsActive&) {
        throw Failure("the server of " + what +
                      " runs; end it first, or have the daemon end it: oadctl destroy-on-unregister yes");
    } catch (const Activation::FailedToExecute&) {
        throw Failure(
            "the server of " + what +
            " cannot be started, or has ended before its object was active; the daemon's log says more");
    } catch (const Activation::NotResponding&) {
        throw Failure("the server of " + what +
                      " has been started and has not made its object active in time");
    } catch (const Activation::Busy&) {
        throw Failure("the server of " + what +
                      " is not active yet, or too many servers run; try again later");
    } catch (const CORBA_NO_PERMISSION&) {
        throw Failure("the daemon takes this from its own host only; run oadctl there, "
                      "or start oadd with --allow and the network of this host");
    } catch (const CORBA_BAD_PARAM&) {
        throw Failure("the daemon does not accept the definition of " + what + "; its log says why");
    } catch (const CORBA_NO_RESPONSE&) {
        throw Failure(silent);
    } catch (const CORBA_NO_IMPLEMENT&) {
        throw Failure(notThere);
    } catch (const CORBA_OBJECT_NOT_EXIST&) {
        throw Failure(notThere);
    } catch (const CORBA_COMM_FAILURE&) {
        throw Failure(
            "the daemon has gone while it was asked; oadctl list shows what is registered once it is back");
    } catch (const CORBA_PERSIST_STORE& failure) {
        throw Failure(std::string("nothing is changed, the daemon cannot write its file of registrations: ") +
                      std::strerror(static_cast<int>(failure.minor())));
    } catch (const CORBA_Exception& exception) {
        throw Failure(std::string("the call of the daemon has failed: ") + exception._name());
    }
}
