// A day at the bank: bank-client REFERENCE

#include "bank_skel.h"

#include <iostream>

namespace {

// The client's own object: the bank calls it while the client waits for the bank.
class Teller : public _sk_Bank::_sk_Listener {
public:
    void changed(const char* owner, const Bank::Entry& last, CORBA::Double balance) override {
        std::cout << "  told: " << owner << ", " << last.what << " of " << last.amount << ", now " << balance
                  << "\n";
    }
};

void show(Bank::Account_ptr account) {
    CORBA::String_var owner = account->owner();
    std::cout << owner << " has " << account->balance() << ":";
    Bank::Entries_var entries = account->entries();
    for (CORBA::ULong i = 0; i < entries->length(); ++i)
        std::cout << " " << entries[i].what << " " << entries[i].amount;
    std::cout << "\n";
}

void visit(Bank::Branch_ptr branch, Bank::Listener_ptr teller) {
    Bank::Account_var ann = branch->open("Ann", Bank::all_of_it);
    Bank::Account_var bob = branch->open("Bob", Bank::savings_only);
    ann->watch(teller);
    ann->deposit(100);
    try {
        branch->move(ann, bob, 250);
    } catch (const Bank::Refused& refused) {
        std::cout << "refused: " << refused.why << ", " << refused.missing << " missing\n";
    }

    // One object, by each of its interfaces.
    Bank::Checking_var checking = Bank::Checking::_narrow(ann);
    Bank::Savings_var savings = Bank::Savings::_narrow(checking);
    checking->overdraft(200);
    savings->rate(0.5);
    const CORBA::Double interest = savings->add_interest();
    std::cout << "interest of " << interest << "\n";
    branch->move(ann, bob, 250);
    Bank::Checking_var none = Bank::Checking::_narrow(bob);
    std::cout << "Bob's account is " << (CORBA::is_nil(none) ? "not " : "") << "a checking account\n";
    show(ann);
    show(bob);

    Bank::Names_var owners = branch->owners();
    std::cout << owners->length() << " accounts, the first of " << owners[CORBA::ULong{0}] << "\n";
    CORBA::Double rest = 0;
    branch->close(ann.inout(), rest);
    std::cout << "closed with " << rest << ", the reference is " << (CORBA::is_nil(ann) ? "nil" : "there")
              << "\n";
    try {
        ann = branch->find("Ann");
    } catch (const Bank::NoAccount& unknown) {
        std::cout << "no account of " << unknown.owner << "\n";
    }
    std::cout << "the old object is " << (checking->_non_existent() ? "gone" : "there") << "\n";
    CORBA::Double last = 0;
    branch->close(bob.inout(), last);
}

} // namespace

int main(int argc, char** argv) {
    try {
        CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
        CORBA::BOA_var boa = orb->BOA_init(argc, argv);
        CORBA::Object_var object = orb->string_to_object(argc > 1 ? argv[1] : "");
        Bank::Branch_var branch = Bank::Branch::_narrow(object);
        if (CORBA::is_nil(branch)) {
            std::cerr << "bank-client: no branch behind this reference\n";
            return 1;
        }
        Bank::Listener_var teller = new Teller;
        boa->obj_is_ready(teller);
        visit(branch, teller);
        return 0;
    } catch (const CORBA::Exception& exception) {
        std::cerr << exception;
        return 1;
    }
}
