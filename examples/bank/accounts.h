#pragma once

#include "bank_skel.h"

#include <map>
#include <string>

// The servants of the bank, one class per interface. The servant of a derived interface derives from the
// servants of its bases.

class AccountImpl : public virtual _sk_Bank::_sk_Account {
public:
    explicit AccountImpl(const char* owner) : _owner(owner) {}

    char* owner() override { return CORBA::string_dup(_owner); }
    CORBA::Double balance() override { return _balance; }
    void deposit(CORBA::Double amount) override { enter("deposit", amount); }
    void withdraw(CORBA::Double amount) override;
    Bank::Entries* entries() override { return new Bank::Entries(_entries); }
    void watch(Bank::Listener_ptr teller) override { _listener = Bank::Listener::_duplicate(teller); }

protected:
    void enter(const char* what, CORBA::Double amount);
    virtual CORBA::Double lowest() const { return 0; }

private:
    CORBA::String_var _owner;
    CORBA::Double _balance = 0;
    Bank::Entries _entries;
    Bank::Listener_var _listener;
};

class SavingsImpl : public virtual _sk_Bank::_sk_Savings, public virtual AccountImpl {
public:
    explicit SavingsImpl(const char* owner) : AccountImpl(owner) {}

    CORBA::Double rate() override { return _rate; }
    void rate(CORBA::Double value) override { _rate = value; }
    CORBA::Double add_interest() override;

private:
    CORBA::Double _rate = 0.02;
};

class CheckingImpl : public virtual _sk_Bank::_sk_Checking, public virtual AccountImpl {
public:
    explicit CheckingImpl(const char* owner) : AccountImpl(owner) {}

    CORBA::Double overdraft() override { return _overdraft; }
    void overdraft(CORBA::Double value) override { _overdraft = value; }

protected:
    CORBA::Double lowest() const override { return -_overdraft; }

private:
    CORBA::Double _overdraft = 0;
};

class PremiumImpl : public virtual _sk_Bank::_sk_Premium, public SavingsImpl, public CheckingImpl {
public:
    explicit PremiumImpl(const char* owner) : AccountImpl(owner), SavingsImpl(owner), CheckingImpl(owner) {}
};

class BranchImpl : public _sk_Bank::_sk_Branch {
public:
    explicit BranchImpl(CORBA::BOA_ptr boa) : _boa(boa) {}

    Bank::Names* owners() override;
    Bank::Account_ptr open(const char* owner, Bank::Kind what) override;
    Bank::Account_ptr find(const char* owner) override;
    void close(Bank::Account_ptr& ending, CORBA::Double& rest) override;
    void move(Bank::Account_ptr source, Bank::Account_ptr target, CORBA::Double amount) override;

private:
    CORBA::BOA_ptr _boa;
    std::map<std::string, Bank::Account_var> _accounts;
};
