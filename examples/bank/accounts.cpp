#include "accounts.h"

void AccountImpl::withdraw(CORBA::Double amount) {
    if (_balance - amount < lowest())
        throw Bank::Refused("the account does not hold that much", lowest() - _balance + amount);
    enter("withdrawal", -amount);
}

void AccountImpl::enter(const char* what, CORBA::Double amount) {
    _balance += amount;
    _entries.length(_entries.length() + 1);
    Bank::Entry& last = _entries[_entries.length() - 1];
    last.what = what;
    last.amount = amount;
    // The client's object can answer although the client is waiting for this call. It may also be gone.
    try {
        if (!CORBA::is_nil(_listener))
            _listener->changed(_owner, last, _balance);
    } catch (const CORBA::SystemException&) {
        _listener = Bank::Listener::_nil();
    }
}

CORBA::Double SavingsImpl::add_interest() {
    const CORBA::Double interest = balance() * _rate;
    enter("interest", interest);
    return interest;
}

Bank::Names* BranchImpl::owners() {
    Bank::Names_var names = new Bank::Names;
    names->length(static_cast<CORBA::ULong>(_accounts.size()));
    CORBA::ULong next = 0;
    for (const auto& [owner, account] : _accounts)
        names[next++] = owner.c_str();
    return names._retn();
}

Bank::Account_ptr BranchImpl::open(const char* owner, Bank::Kind what) {
    if (_accounts.contains(owner))
        throw Bank::Refused("there is an account of that owner", 0);
    Bank::Account_var account;
    switch (what) {
    case Bank::savings_only: account = new SavingsImpl(owner); break;
    case Bank::checking_only: account = new CheckingImpl(owner); break;
    case Bank::all_of_it: account = new PremiumImpl(owner); break;
    }
    _boa->obj_is_ready(account);
    _accounts[owner] = account;
    return account._retn();
}

Bank::Account_ptr BranchImpl::find(const char* owner) {
    const auto found = _accounts.find(owner);
    if (found == _accounts.end())
        throw Bank::NoAccount(owner);
    return Bank::Account::_duplicate(found->second);
}

void BranchImpl::close(Bank::Account_ptr& ending, CORBA::Double& rest) {
    CORBA::String_var owner = ending->owner();
    const auto found = _accounts.find(owner.in());
    if (found == _accounts.end())
        throw Bank::NoAccount(owner);
    rest = ending->balance();
    _boa->deactivate_obj(ending);
    _accounts.erase(found);
    CORBA::release(ending);
    ending = Bank::Account::_nil();
}

void BranchImpl::move(Bank::Account_ptr source, Bank::Account_ptr target, CORBA::Double amount) {
    source->withdraw(amount);
    target->deposit(amount);
}
