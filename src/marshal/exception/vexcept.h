#pragma once

#include "marshal/types.h"

#include <exception>
#include <iosfwd>

class TRXistream;
class TRXostream;
class CORBA_Exception;

// Every failure that crosses an ORB interface is a CORBA_Exception: thrown by value, caught by reference,
// with minor 0 and COMPLETED_NO unless stated otherwise. An exception held by pointer (from `_copy`, a
// factory or a stream) belongs to the holder. Exceptions that an interface declares derive as
// user_exception.h shows.

// One static object per exception class, by which the class is found from its repository id. Its constructor
// enters it in `_excepDict`, its destructor removes it; of two with one id the first stays registered.
class CORBA_ExceptionDesc {
public:
    using Factory = CORBA_Exception* (*)();

    // The texts are borrowed. The three roots of the tree have no factory.
    CORBA_ExceptionDesc(const char* name, const char* repositoryId, Factory factory,
                        const CORBA_ExceptionDesc* base);
    CORBA_ExceptionDesc(const CORBA_ExceptionDesc&) = delete;
    CORBA_ExceptionDesc& operator=(const CORBA_ExceptionDesc&) = delete;
    ~CORBA_ExceptionDesc();

    const char* name() const { return _name; }
    const char* repository_id() const { return _repository_id; }
    Factory factory() const { return _factory; }
    const CORBA_ExceptionDesc* base() const { return _base; }

    // The descriptor with this id, or null.
    static const CORBA_ExceptionDesc* lookup(const char* repositoryId);
    // The number of slots of the dictionary; 0 before the first registration.
    static CORBA_ULong dictionarySlots();

private:
    const char* _name;
    const char* _repository_id;
    Factory _factory;
    const CORBA_ExceptionDesc* _base;
};

// `_descriptor()` of each class makes its descriptor on first use, so that exceptions can be thrown at any
// time, also before `main`.
class CORBA_Exception : public std::exception {
public:
    CORBA_Exception() = default;
    CORBA_Exception(const CORBA_Exception&) = default;
    CORBA_Exception& operator=(const CORBA_Exception&) = default;
    ~CORBA_Exception() override;

    const char* what() const noexcept override; // the repository id

    virtual const CORBA_ExceptionDesc* _desc() const;
    virtual void _write(TRXostream& stream) const; // the members, without the repository id
    virtual void _read(TRXistream& stream);
    virtual void _print(TRXostream& stream) const; // readable lines
    virtual void _raise() const;                   // throws a copy; does nothing in the abstract classes
    virtual CORBA_Exception* _copy() const;        // the caller owns it
    virtual const char* _name() const;
    virtual const char* _repository_id() const;

    static CORBA_Exception* _narrow(CORBA_Exception* exception);
    static const CORBA_ExceptionDesc& _descriptor();

    // Whether the class of `desc` is the class of `exception` or one of its bases. False for null.
    static bool _is_a(const CORBA_Exception* exception, const CORBA_ExceptionDesc& desc);
};

// 32 bits on the wire. Other values from a peer are kept.
enum CORBA_CompletionStatus : CORBA_ULong { COMPLETED_YES = 0, COMPLETED_NO = 1, COMPLETED_MAYBE = 2 };

class CORBA_SystemException : public CORBA_Exception {
public:
    explicit CORBA_SystemException(CORBA_ULong minor = 0, CORBA_CompletionStatus completed = COMPLETED_NO)
        : _minor(minor), _completed(completed) {}

    CORBA_ULong minor() const { return _minor; }
    void minor(CORBA_ULong minor) { _minor = minor; }
    CORBA_CompletionStatus completed() const { return _completed; }
    void completed(CORBA_CompletionStatus completed) { _completed = completed; }

    const CORBA_ExceptionDesc* _desc() const override;
    void _write(TRXostream& stream) const override;
    void _read(TRXistream& stream) override;
    void _print(TRXostream& stream) const override;
    void _raise() const override;
    CORBA_Exception* _copy() const override;

    static CORBA_SystemException* _narrow(CORBA_Exception* exception);
    static const CORBA_ExceptionDesc& _descriptor();

private:
    CORBA_ULong _minor;
    CORBA_CompletionStatus _completed;
};

class CORBA_UserException : public CORBA_Exception {
public:
    const CORBA_ExceptionDesc* _desc() const override;
    CORBA_Exception* _copy() const override;

    static CORBA_UserException* _narrow(CORBA_Exception* exception);
    static const CORBA_ExceptionDesc& _descriptor();
};

// Implements the operations that depend on the concrete class `Self`. The source file of the exception
// defines `Self::_descriptor()`.
template <class Self, class Base>
class TRXExceptionOf : public Base {
public:
    using Base::Base;

    const CORBA_ExceptionDesc* _desc() const override { return &Self::_descriptor(); }
    void _raise() const override { throw static_cast<const Self&>(*this); }
    CORBA_Exception* _copy() const override { return new Self(static_cast<const Self&>(*this)); }

    static Self* _narrow(CORBA_Exception* exception) {
        return CORBA_Exception::_is_a(exception, Self::_descriptor()) ? static_cast<Self*>(exception)
                                                                      : nullptr;
    }
    static CORBA_Exception* _make() { return new Self; }
};

// The system exceptions, in the order of their registration.
#define TRX_SYSTEM_EXCEPTIONS(X)                                                                             \
    X(UNKNOWN)                                                                                               \
    X(BAD_PARAM)                                                                                             \
    X(NO_MEMORY)                                                                                             \
    X(IMP_LIMIT)                                                                                             \
    X(COMM_FAILURE)                                                                                          \
    X(INV_OBJREF)                                                                                            \
    X(NO_PERMISSION)                                                                                         \
    X(INTERNAL)                                                                                              \
    X(MARSHAL)                                                                                               \
    X(INITIALIZE)                                                                                            \
    X(NO_IMPLEMENT)                                                                                          \
    X(BAD_TYPECODE)                                                                                          \
    X(BAD_OPERATION)                                                                                         \
    X(NO_RESOURCES)                                                                                          \
    X(NO_RESPONSE)                                                                                           \
    X(PERSIST_STORE)                                                                                         \
    X(BAD_INV_ORDER)                                                                                         \
    X(TRANSIENT)                                                                                             \
    X(FREE_MEM)                                                                                              \
    X(INV_IDENT)                                                                                             \
    X(INV_FLAG)                                                                                              \
    X(INTF_REPOS)                                                                                            \
    X(BAD_CONTEXT)                                                                                           \
    X(OBJ_ADAPTER)                                                                                           \
    X(DATA_CONVERSION)                                                                                       \
    X(OBJECT_NOT_EXIST)                                                                                      \
    X(TRANSACTION_REQUIRED)                                                                                  \
    X(TRANSACTION_ROLLEDBACK)                                                                                \
    X(INVALID_TRANSACTION)

#define TRX_DECLARE_SYSTEM_EXCEPTION(X)                                                                      \
    class CORBA_##X final : public TRXExceptionOf<CORBA_##X, CORBA_SystemException> {                        \
    public:                                                                                                  \
        using TRXExceptionOf::TRXExceptionOf;                                                                \
        static const CORBA_ExceptionDesc& _descriptor();                                                     \
    };
TRX_SYSTEM_EXCEPTIONS(TRX_DECLARE_SYSTEM_EXCEPTION)
#undef TRX_DECLARE_SYSTEM_EXCEPTION

// The body of an exception reply: the repository id, then the members.
TRXostream& operator<<(TRXostream& stream, const CORBA_Exception& exception);
// Makes the exception whose id is read; the caller owns it. For an id that is unknown or belongs to an
// abstract class it makes a CORBA_UNKNOWN and leaves the members unread. The pointer is null when the stream
// raises.
TRXistream& operator>>(TRXistream& stream, CORBA_Exception*& exception);
// Readable lines on cout, cerr and clog; on any other stream the members in text form.
std::ostream& operator<<(std::ostream& stream, const CORBA_Exception& exception);

void CORBA_release(CORBA_Exception* exception); // accepts null
inline bool CORBA_is_nil(const CORBA_Exception* exception) { return exception == nullptr; }
