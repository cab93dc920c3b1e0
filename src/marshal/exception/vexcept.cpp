#include "marshal/exception/vexcept.h"

#include "base/assertion.h"
#include "base/hash_table.h"
#include "marshal/exception/user_exception.h"
#include "marshal/text/print_line.h"
#include "marshal/text/vstr.h"
#include "marshal/text/vstream.h"

#include <memory>
#include <string>

using namespace harbolance;

namespace {

struct DictionaryTraits : GrowAtNineTenths {
    struct Entry {
        const char* key = nullptr;
        const CORBA_ExceptionDesc* value = nullptr;
    };
    static bool isFree(const Entry& entry) { return !entry.value; }
    static uint32_t hash(const Entry& entry) { return hash(entry.key); }
    static uint32_t hash(const char* key) { return CORBA_string_hash(key); }
    static bool equal(const Entry& stored, const Entry& entry) { return equal(stored, entry.key); }
    static bool equal(const Entry& stored, const char* key) {
        return CORBA_string_compare(stored.key, key) == 0;
    }
};

// Made by the first registration and never destroyed, because descriptors are removed during static
// destruction.
constinit HashTable<DictionaryTraits>* _excepDict = nullptr;

const char* completionText(CORBA_CompletionStatus completed) {
    switch (completed) {
    case COMPLETED_YES: return "YES";
    case COMPLETED_NO: return "NO";
    case COMPLETED_MAYBE: return "MAYBE";
    }
    return "Invalid status";
}

} // namespace

CORBA_ExceptionDesc::CORBA_ExceptionDesc(const char* name, const char* repositoryId, Factory make,
                                         const CORBA_ExceptionDesc* parent)
    : _name(name), _repository_id(repositoryId), _factory(make), _base(parent) {
    // The dictionary is made by the first descriptor, in whatever file that is.
    if (!_excepDict)
        _excepDict = new HashTable<DictionaryTraits>(16);
    // `insert` keeps an existing entry: of two classes with one id the first stays registered.
    _excepDict->insert({repositoryId, this});
}

CORBA_ExceptionDesc::~CORBA_ExceptionDesc() {
    // Not done for the second of two classes with one id: the first stays registered.
    if (lookup(_repository_id) == this)
        _excepDict->take(_repository_id);
}

const CORBA_ExceptionDesc* CORBA_ExceptionDesc::lookup(const char* repositoryId) {
    const auto* found = _excepDict ? _excepDict->find(repositoryId) : nullptr;
    return found ? found->value : nullptr;
}

CORBA_ULong CORBA_ExceptionDesc::dictionarySlots() { return _excepDict ? _excepDict->capacity() : 0; }

CORBA_Exception::~CORBA_Exception() = default;

const char* CORBA_Exception::what() const noexcept { return _repository_id(); }

const CORBA_ExceptionDesc& CORBA_Exception::_descriptor() {
    static const CORBA_ExceptionDesc desc("CORBA::Exception", "IDL:omg.org/CORBA/Exception:1.0", nullptr,
                                          nullptr);
    return desc;
}

const CORBA_ExceptionDesc* CORBA_Exception::_desc() const { return &_descriptor(); }

void CORBA_Exception::_write(TRXostream&) const {}

void CORBA_Exception::_read(TRXistream&) {}

void CORBA_Exception::_print(TRXostream& stream) const { printLine(stream, {"Exception: ", _name()}); }

void CORBA_Exception::_raise() const {}

CORBA_Exception* CORBA_Exception::_copy() const { return new CORBA_Exception(*this); }

const char* CORBA_Exception::_name() const { return _desc()->name(); }

const char* CORBA_Exception::_repository_id() const { return _desc()->repository_id(); }

CORBA_Exception* CORBA_Exception::_narrow(CORBA_Exception* exception) { return exception; }

bool CORBA_Exception::_is_a(const CORBA_Exception* exception, const CORBA_ExceptionDesc& desc) {
    const CORBA_ExceptionDesc* own = exception ? exception->_desc() : nullptr;
    // Compared by address, because each class has one descriptor.
    while (own && own != &desc)
        own = own->base();
    return own != nullptr;
}

const CORBA_ExceptionDesc& CORBA_SystemException::_descriptor() {
    static const CORBA_ExceptionDesc desc("CORBA::SystemException", "IDL:omg.org/CORBA/SystemException:1.0",
                                          nullptr, &CORBA_Exception::_descriptor());
    return desc;
}

const CORBA_ExceptionDesc* CORBA_SystemException::_desc() const { return &_descriptor(); }

void CORBA_SystemException::_write(TRXostream& stream) const {
    stream << _minor << static_cast<CORBA_ULong>(_completed);
}

void CORBA_SystemException::_read(TRXistream& stream) {
    CORBA_ULong completed = 0;
    stream >> _minor >> completed;
    // Any number is kept as the peer sent it. The enum has a fixed underlying type, so the cast is defined.
    _completed = static_cast<CORBA_CompletionStatus>(completed);
}

void CORBA_SystemException::_print(TRXostream& stream) const {
    CORBA_Exception::_print(stream);
    printLine(stream, {"\tMinor: ", std::to_string(_minor)});
    printLine(stream, {"\tCompletion Status: ", completionText(_completed)});
}

void CORBA_SystemException::_raise() const { throw CORBA_SystemException(*this); }

CORBA_Exception* CORBA_SystemException::_copy() const { return new CORBA_SystemException(*this); }

CORBA_SystemException* CORBA_SystemException::_narrow(CORBA_Exception* exception) {
    return _is_a(exception, _descriptor()) ? static_cast<CORBA_SystemException*>(exception) : nullptr;
}

const CORBA_ExceptionDesc& CORBA_UserException::_descriptor() {
    static const CORBA_ExceptionDesc desc("CORBA::UserException", "IDL:omg.org/CORBA/UserException:1.0",
                                          nullptr, &CORBA_Exception::_descriptor());
    return desc;
}

const CORBA_ExceptionDesc* CORBA_UserException::_desc() const { return &_descriptor(); }

CORBA_Exception* CORBA_UserException::_copy() const { return new CORBA_UserException(*this); }

CORBA_UserException* CORBA_UserException::_narrow(CORBA_Exception* exception) {
    return _is_a(exception, _descriptor()) ? static_cast<CORBA_UserException*>(exception) : nullptr;
}

#define TRX_DEFINE_SYSTEM_EXCEPTION(X)                                                                       \
    const CORBA_ExceptionDesc& CORBA_##X::_descriptor() {                                                    \
        static const CORBA_ExceptionDesc desc("CORBA::" #X, "IDL:omg.org/CORBA/" #X ":1.0", _make,           \
                                              &CORBA_SystemException::_descriptor());                        \
        return desc;                                                                                         \
    }
TRX_SYSTEM_EXCEPTIONS(TRX_DEFINE_SYSTEM_EXCEPTION)
#undef TRX_DEFINE_SYSTEM_EXCEPTION

namespace {

// Registers the exception classes before `main`, in the order of the list.
[[maybe_unused]] const bool registered = [] {
    CORBA_Exception::_descriptor();
    CORBA_SystemException::_descriptor();
    CORBA_UserException::_descriptor();
#define TRX_REGISTER_SYSTEM_EXCEPTION(X) CORBA_##X::_descriptor();
    TRX_SYSTEM_EXCEPTIONS(TRX_REGISTER_SYSTEM_EXCEPTION)
#undef TRX_REGISTER_SYSTEM_EXCEPTION
    return true;
}();

} // namespace

void harbolance::printExceptionBegin(TRXostream& stream, const char* scopedName) {
    printLine(stream, {"EXCEPTION ", scopedName, " {"});
}

void harbolance::printExceptionMember(TRXostream& stream, const char* name) {
    printLine(stream, {"\t", name, ":"});
}

void harbolance::printExceptionEnd(TRXostream& stream) { printLine(stream, {"}"}); }

TRXostream& operator<<(TRXostream& stream, const CORBA_Exception& exception) {
    stream << exception._repository_id();
    exception._write(stream);
    return stream;
}

TRXistream& operator>>(TRXistream& stream, CORBA_Exception*& exception) {
    exception = nullptr;
    CORBA_String_var id;
    stream >> id;
    if (!_excepDict)
        assertionFailed("_excepDict != __null", "vexcept", __LINE__);
    const CORBA_ExceptionDesc* desc = CORBA_ExceptionDesc::lookup(id.in());
    // The roots of the tree are registered but abstract; a peer may nevertheless send their ids.
    if (!desc || !desc->factory()) {
        exception = new CORBA_UNKNOWN;
        return stream;
    }
    // Owned while the members are read, which may raise.
    std::unique_ptr<CORBA_Exception> made(desc->factory()());
    made->_read(stream);
    exception = made.release();
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const CORBA_Exception& exception) {
    TRXostream text(stream);
    if (isConsole(stream))
        exception._print(text);
    else
        exception._write(text);
    return stream;
}

void CORBA_release(CORBA_Exception* exception) { delete exception; }
