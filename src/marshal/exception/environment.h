#pragma once

#include "marshal/exception/vexcept.h"

#include <memory>

// Holds an exception as a value, or none.
class CORBA_Environment {
public:
    CORBA_Environment() = default;
    explicit CORBA_Environment(CORBA_Exception* owned) : _exception(owned) {}
    CORBA_Environment(const CORBA_Environment&) = delete;
    CORBA_Environment& operator=(const CORBA_Environment&) = delete;

    CORBA_Exception* exception() const { return _exception.get(); } // owned by the environment
    void exception(CORBA_Exception* owned) { _exception.reset(owned); }
    void clear() { _exception.reset(); }

private:
    std::unique_ptr<CORBA_Exception> _exception;
};
