#pragma once

#include "allocations.h"
#include "calls_skel.h"

#include <vector>

// The servant of the tests and benchmarks of calls.
class EchoServant : public _sk_Calls::_sk_Echo {
public:
    explicit EchoServant(const char* name = nullptr) : _sk_Echo(name) {}

    CORBA::Long notes() override { return notes_; }
    CORBA::ULong allocations() override { return static_cast<CORBA::ULong>(allocationCount()); }
    void null() override {}
    char* say(const char* text) override;
    void note(CORBA::Long number) override { notes_ += number; }
    Calls::Octets* give(const Calls::Octets& data) override { return new Calls::Octets(data); }
    void take(const Calls::Octets&) override {}
    Calls::Records* turn(const Calls::Records& data) override;
    Calls::Color next(Calls::Color before) override;
    CORBA::Long relay(Calls::Echo_ptr other, CORBA::Long depth) override;
    Calls::Echo_ptr another() override;
    void forget(Calls::Echo_ptr target) override;
    void fail(const char* how) override;
    void crash() override;

private:
    CORBA::Long notes_ = 0;
    std::vector<Calls::Echo_var> kept_;
};
