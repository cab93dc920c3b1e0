#pragma once

#include "invoke/transport/vconn.h"

// A connection that does nothing; tests override the operations that they need.
class StubConnection : public TRXConnection {
public:
    explicit StubConnection(CORBA_ULong tag) : TRXConnection(tag) { _state = CONNECTED; }

    void listen(const IOP::TaggedProfile&) override {}
    void connect(const IOP::TaggedProfile&, CORBA_ULong) override {}
    TRXConnection* clone(CORBA_ULong) override { return nullptr; }
    IOP::TaggedProfile* profile(const CORBA_OctetSequence*) override { return nullptr; }
    TRXConnection* accept() override { return nullptr; }
    void read(char*, CORBA_ULong&, CORBA_ULong) override {}
    void write(const char*, CORBA_ULong&, CORBA_ULong) override {}
};
