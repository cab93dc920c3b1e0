#pragma once

#include "marshal/exception/vexcept.h"
#include "marshal/generated/array.h"
#include "marshal/text/vstream.h"

#include <ostream>
#include <tuple>

namespace harbolance {
// Print the lines of an exception that come before its members and before each member's value.
void printExceptionBegin(TRXostream& stream, const char* scopedName);
void printExceptionMember(TRXostream& stream, const char* name);
void printExceptionEnd(TRXostream& stream);
} // namespace harbolance

// One member of an exception that an interface declares.
template <class Owner, class Value>
struct TRXExceptionMember {
    const char* name;
    Value Owner::*value;
};
template <class Owner, class Value>
TRXExceptionMember(const char*, Value Owner::*) -> TRXExceptionMember<Owner, Value>;

// Base of every exception that an interface declares. A class lists its members; they are written, read and
// printed in that order with their own stream operators:
//
//     class Fail final : public TRXUserExceptionOf<Fail> {
//     public:
//         Reason reason{};
//         static constexpr const char* _scoped_name = "ObjLocation::Fail";
//         static constexpr auto _members() {
//             return std::tuple{TRXExceptionMember{"reason", &Fail::reason}};
//         }
//         static const CORBA_ExceptionDesc& _descriptor();
//     };
//
// A class without members omits `_members`. Its source file adds
//
//     TRX_DEFINE_USER_EXCEPTION(Fail, "ObjLocation::Fail", "IDL:tarnwicknet/ObjLocation/Fail:1.0")
template <class Self>
class TRXUserExceptionOf : public TRXExceptionOf<Self, CORBA_UserException> {
public:
    static constexpr auto _members() { return std::tuple{}; }

    void _write(TRXostream& stream) const override {
        forEachMember([&](const auto& member) { stream << operand(self().*member.value); });
    }
    void _read(TRXistream& stream) override {
        forEachMember(
            [&](const auto& member) { stream >> operand(static_cast<Self&>(*this).*member.value); });
    }
    void _print(TRXostream& stream) const override {
        harbolance::printExceptionBegin(stream, Self::_scoped_name);
        forEachMember([&](const auto& member) {
            harbolance::printExceptionMember(stream, member.name);
            stream << operand(self().*member.value) << std::endl;
        });
        harbolance::printExceptionEnd(stream);
    }

private:
    const Self& self() const { return static_cast<const Self&>(*this); }

    // The form of a member that the stream operators take.
    template <class Value>
    static decltype(auto) operand(Value& value) {
        if constexpr (std::is_array_v<Value>)
            return harbolance::elements(value);
        else
            return (value);
    }

    template <class Visit>
    static void forEachMember(Visit visit) {
        std::apply([&](const auto&... member) { (visit(member), ...); }, Self::_members());
    }
};

// Defines the descriptor of a user exception and registers it before `main`. Marked cold, so that it is
// placed with the other code that runs before `main`; processes that raise no exception then load no
// additional page for it.
#define TRX_DEFINE_USER_EXCEPTION(Class, name, repositoryId)                                                 \
    [[gnu::cold]] const CORBA_ExceptionDesc& Class::_descriptor() {                                          \
        static const CORBA_ExceptionDesc desc(name, repositoryId, Class::_make,                              \
                                              &CORBA_UserException::_descriptor());                          \
        return desc;                                                                                         \
    }                                                                                                        \
    [[maybe_unused]] static const CORBA_ExceptionDesc& TRX_REGISTRATION_NAME(__LINE__) = Class::_descriptor();
#define TRX_REGISTRATION_NAME(line) TRX_REGISTRATION_NAME_OF(line)
#define TRX_REGISTRATION_NAME_OF(line) registeredAtLine##line
