#include "calls_skel.h"
#include "random_value.h"

#include <gtest/gtest.h>

#include <cstring>

// Generated stubs and skeletons without a connection: the request written by a stub is passed to the
// servant's skeleton, and the reply back.

namespace {

std::string octetsOf(const auto& value) {
    CORBA_MarshalOutBuffer out(255);
    out << value;
    return {out.data(), out.offset()};
}

// TypeCodes made before an ORB starts are never freed.
class Started : public testing::Environment {
    void SetUp() override { CORBA_ORB_init(); }
};
[[maybe_unused]] const auto* const started = testing::AddGlobalTestEnvironment(new Started);

// --- The servant: `pass` for every way of passing ----------------------------------------------------------

template <class T>
T pass(const T& a, T& b, T& c) {
    b = c;
    return c = a;
}
template <class T>
requires(!std::derived_from<T, CORBA_Object> && std::is_class_v<T> && !std::same_as<T, CORBA_TypeCode>) //
    T* pass(const T& a, T*& b, T& c) {
    b = new T(c);
    return new T(c = a);
}
char* pass(const char* a, char*& b, char*& c) {
    b = std::exchange(c, CORBA_string_dup(a));
    return CORBA_string_dup(a);
}
CORBA_WChar* pass(const CORBA_WChar* a, CORBA_WChar*& b, CORBA_WChar*& c) {
    b = std::exchange(c, CORBA_wstring_dup(a));
    return CORBA_wstring_dup(a);
}
template <class T>
requires(std::derived_from<T, CORBA_Object> || std::same_as<T, CORBA_TypeCode>) //
    T* pass(T* a, T*& b, T*& c) {
    b = std::exchange(c, T::_duplicate(a));
    return T::_duplicate(a);
}
template <class Array>
SliceOf<Array>* passArray(const SliceOf<Array>* a, SliceOf<Array>* b, SliceOf<Array>* c) {
    copyArray<Array>(b, c);
    copyArray<Array>(c, a);
    return duplicateArray<Array>(a);
}
template <class Array>
SliceOf<Array>* passAllocated(const SliceOf<Array>* a, SliceOf<Array>*& b, SliceOf<Array>* c) {
    b = duplicateArray<Array>(c);
    copyArray<Array>(c, a);
    return duplicateArray<Array>(a);
}

#define PASS(T, name)                                                                                        \
    T name(T a, T& b, T& c) override { return pass(a, b, c); }
#define PASS_FIXED(T, name)                                                                                  \
    T name(const T& a, T& b, T& c) override { return pass(a, b, c); }
#define PASS_VALUE(T, name)                                                                                  \
    T* name(const T& a, T*& b, T& c) override { return pass(a, b, c); }
#define PASS_TEXT(Char, name)                                                                                \
    Char* name(const Char* a, Char*& b, Char*& c) override { return pass(a, b, c); }
#define PASS_REFERENCE(T, name)                                                                              \
    T* name(T* a, T*& b, T*& c) override { return pass(a, b, c); }

class RootServant : public virtual _sk_Calls::_sk_Root {
public:
    PASS(CORBA_Short, shorts)
    PASS(CORBA_ULongLong, huge)
    PASS(CORBA_Double, doubles)
    PASS(CORBA_Char, chars)
    PASS(CORBA_WChar, wchars)
    PASS(CORBA_Boolean, booleans)
    PASS(CORBA_Octet, octets)
    PASS(Suit, suits)
    PASS_FIXED(Everything::Figures, fixed)
    PASS_VALUE(Everything::Mixed, variable)
    PASS_VALUE(Everything::Tree, trees)
    PASS_VALUE(Everything::ByLong, unions)
    PASS_VALUE(Everything::Longs, longs)
    PASS_VALUE(Everything::FourOctets, bounded)
    PASS_VALUE(Everything::Anys, anys)
    PASS_VALUE(CORBA_Any, value)
    PASS_VALUE(CORBA_OctetSequence, principals)
    PASS_VALUE(Calls::Lines, lines)
    PASS_TEXT(char, texts)
    PASS_TEXT(char, shortTexts)
    PASS_TEXT(char, briefs)
    PASS_TEXT(CORBA_WChar, wideTexts)
    PASS_TEXT(CORBA_WChar, shortWideTexts)
    PASS_REFERENCE(CORBA_Object, objects)
    PASS_REFERENCE(Everything::Later, laters)
    PASS_REFERENCE(CORBA_TypeCode, types)
    Everything::Table_slice* tables(const Everything::Table a, Everything::Table_slice* b,
                                    Everything::Table_slice* c) override {
        return passArray<Everything::Table>(a, b, c);
    }
    Everything::Names_slice* names(const Everything::Names a, Everything::Names_slice*& b,
                                   Everything::Names_slice* c) override {
        return passAllocated<Everything::Names>(a, b, c);
    }
    Calls::Things_slice* things(const Calls::Things a, Calls::Things_slice*& b,
                                Calls::Things_slice* c) override {
        return passAllocated<Calls::Things>(a, b, c);
    }
};

class Servant : public _sk_Calls::_sk_Both, public RootServant {
public:
    explicit Servant(const char* name = nullptr) : _sk_Both(name) {}
    Servant(const char* service, const CORBA_OctetSequence& id) : _sk_Both(service, id) {}

    char* title() override { return _title.in() ? CORBA_string_dup(_title.in()) : nullptr; }
    void title(const char* value) override { _title = value; }
    Everything::Numbers figures() override { return {}; }
    void stop(CORBA_Boolean really) override {
        Calls::Stopped stopped;
        stopped.code = 7;
        stopped.why[1] = "enough";
        if (really)
            throw stopped;
    }
    void tell(const char* text, CORBA_Long times) override {
        told.append(text).append(std::to_string(times));
    }
    CORBA_Long _cxx_template(CORBA_Long a, CORBA_Long b, CORBA_Long c, const char* d, CORBA_Long& e, Suit f,
                             CORBA_Long g) override {
        return e = a + b + c + static_cast<CORBA_Long>(std::strlen(d)) + e + static_cast<CORBA_Long>(f) + g;
    }
    CORBA_Long _cxx_delete() override { return -1; }

    CORBA_MarshalOutBuffer* _prepare_reply(void* pdata) override {
        return static_cast<CORBA_MarshalOutBuffer*>(pdata);
    }
    std::string told;

private:
    CORBA_String_var _title{"none"};
};

// --- The client --------------------------------------------------------------------------------------------

// Its calls go to a servant. It is no stub, since stubs need an ORB.
class Client : public Calls::Both {
public:
    explicit Client(CORBA_Object* servant) : _servant(CORBA_Object::_duplicate(servant)) {}

    CORBA_MarshalOutBuffer* _stub_request(const char* operation, CORBA_Boolean expected) override {
        _operation = operation;
        twoWay = expected;
        return new CORBA_MarshalOutBuffer(255);
    }
    void _stub_send(CORBA_MarshalOutBuffer* request) override { CORBA_release(_stub_invoke(request)); }
    CORBA_MarshalInBuffer* _stub_invoke(CORBA_MarshalOutBuffer* request) override {
        if (transient > 0 && transient-- > 0)
            throw CORBA_TRANSIENT();
        CORBA_MarshalInBuffer in(request->data(), request->offset());
        CORBA_MarshalOutBuffer out(255);
        const CORBA_TypeInfo* owner = nullptr;
        const TRXSkeleton skeleton = _servant->_type_info()->impl()->findMethod(_operation, owner);
        skeleton(_servant->_cast(owner), in, nullptr, _operation, &out);
        EXPECT_EQ(in.offset(), in.size()) << _operation;
        if (absorbed)
            return nullptr;
        char* const copy = CORBA_string_alloc(out.offset());
        std::memcpy(copy, out.data(), out.offset());
        return new CORBA_MarshalInBuffer(copy, out.offset(), 1);
    }

    bool twoWay = true;
    bool absorbed = false; // whether replies are absorbed
    int transient = 0;     // number of calls that must be repeated

private:
    CORBA_Object_var _servant;
    const char* _operation = nullptr;
};

class GeneratedCalls : public testing::Test {
protected:
    template <class T>
    T random(CORBA_TypeCode* type, unsigned seed) {
        CORBA_MarshalOutBuffer out(255);
        RandomValue(seed).write(out, CORBA_TypeCode::_duplicate(type));
        CORBA_MarshalInBuffer in(out.data(), out.offset());
        T value{};
        in >> value;
        return value;
    }
    template <class T, class Operation>
    void expectFixed(Operation operation, T a, T c) {
        T b{}, inout = c;
        EXPECT_EQ(octetsOf(((*client).*operation)(a, b, inout)), octetsOf(a));
        EXPECT_EQ(octetsOf(b), octetsOf(c));
        EXPECT_EQ(octetsOf(inout), octetsOf(a));
    }
    template <class T>
    void expectVariable(T* (Calls::Root::*operation)(const T&, T*&, T&), CORBA_TypeCode* type) {
        for (unsigned seed = 0; seed < 5; ++seed) {
            const T a = random<T>(type, seed), c = random<T>(type, seed + 100);
            T inout = c;
            T* out = nullptr;
            const std::unique_ptr<T> result(((*client).*operation)(a, out, inout));
            const std::unique_ptr<T> b(out);
            EXPECT_EQ(octetsOf(*result), octetsOf(a));
            EXPECT_EQ(octetsOf(*b), octetsOf(c));
            EXPECT_EQ(octetsOf(inout), octetsOf(a));
        }
    }
    // For strings and references, by their holders.
    template <class Holder, class Operation>
    void expectHeld(Operation operation, Holder a, Holder c) {
        Holder b, inout = c;
        const Holder result(((*client).*operation)(a.in(), b.out(), inout.inout()));
        EXPECT_EQ(octetsOf(result), octetsOf(a));
        EXPECT_EQ(octetsOf(b), octetsOf(c));
        EXPECT_EQ(octetsOf(inout), octetsOf(a));
    }

    Servant* const servant = new Servant;
    const CORBA_Object_var hold{servant};
    const TRXVar<Client> client{new Client(servant)};
};

TEST_F(GeneratedCalls, ValuesOfEveryKindGoThereAndComeBack) {
    using Calls::Root;
    expectFixed<CORBA_Short>(&Root::shorts, -5, 300);
    expectFixed<CORBA_ULongLong>(&Root::huge, ~0ull, 1);
    expectFixed<CORBA_Double>(&Root::doubles, 0.1, -1e300);
    expectFixed<CORBA_Char>(&Root::chars, 'x', '\xe9');
    expectFixed<CORBA_WChar>(&Root::wchars, L'x', L'\x20ac');
    expectFixed<CORBA_Boolean>(&Root::booleans, 1, 0);
    expectFixed<CORBA_Octet>(&Root::octets, 255, 1);
    expectFixed<Suit>(&Root::suits, spades, diamonds);
    expectFixed<Everything::Numbers>(&Root::fixed, random<Everything::Numbers>(Everything::_tc_Numbers, 1),
                                     random<Everything::Numbers>(Everything::_tc_Numbers, 2));
    expectVariable(&Root::variable, Everything::_tc_Mixed);
    expectVariable(&Root::trees, Everything::_tc_Tree);
    expectVariable(&Root::unions, Everything::_tc_ByLong);
    expectVariable(&Root::longs, Everything::_tc_Longs);
    expectVariable(&Root::bounded, Everything::_tc_FourOctets);
    expectVariable(&Root::anys, Everything::_tc_Anys);
    expectVariable(&Root::value, _tc_any);
    expectVariable(&Root::principals, _tc_Principal);
    expectVariable(&Root::lines, Calls::_tc_Lines);
}

// The kept memory is reused by the next request, but not during a call that is in progress, and is not kept
// for ever.
TEST(ReusedArgument, KeepsItsOwnMemoryForAWhile) {
    const std::string large(3 << 20, '\0');
    const CORBA_MarshalInBuffer little("", 0), much(large.data(), static_cast<CORBA_ULong>(large.size()));
    using Argument = ReusedArgument<Calls::Lines>;
    const auto kept = [&] { return (*Argument(little)).maximum() > 0; };
    const auto use = [](Argument& argument) { (*argument).length(3); };
    {
        Argument outer(little);
        use(outer);
        Argument inner(much);
        EXPECT_EQ((*inner).maximum(), 0u);
    }
    {
        Argument again(little);
        use(again);
    }
    EXPECT_EQ(kept(), keepsMemory);
    {
        Argument replaced(little);
        Calls::Line own[2];
        *replaced = Calls::Lines(2, 2, own, false);
    }
    EXPECT_FALSE(kept());
    for (const bool stays : {true, false}) {
        {
            Argument argument(much);
            use(argument);
        }
        EXPECT_EQ(kept(), stays && keepsMemory);
    }
}

TEST_F(GeneratedCalls, WhatIsHeldByPointersGoesThereAndComesBack) {
    using Calls::Root;
    using Text = CORBA_String_var;
    expectHeld<Text>(&Root::texts, "what goes", "");
    expectHeld<Text>(&Root::shortTexts, "four", "3");
    expectHeld<Text>(&Root::briefs, "briefest", "b");
    expectHeld<CORBA_WString_var>(&Root::wideTexts, L"wide", L"\x20ac and wider");
    expectHeld<CORBA_WString_var>(&Root::shortWideTexts, L"four", L"");
    expectHeld<CORBA_TypeCode_var>(&Root::types, CORBA_TypeCode::_duplicate(_tc_long),
                                   CORBA_TypeCode::_duplicate(Everything::_tc_Tree));
    expectHeld<CORBA_Object_var>(&Root::objects, {}, {});
    expectHeld<Everything::Later_var>(&Root::laters, {}, {});

    const Everything::Table a = {{1, 2, 3}, {4, 5, 6}};
    Everything::Table b, c = {{7}};
    const Everything::Table_var table(client->tables(a, b, c));
    EXPECT_EQ(table.in()[1][2], 6);
    EXPECT_EQ(b[0][0], 7);
    EXPECT_EQ(c[1][0], 4);
    Everything::Names given, moved;
    given[0] = "given";
    moved[1] = "moved";
    Everything::Names_var out;
    const Everything::Names_var names(client->names(given, out.out(), moved));
    EXPECT_STREQ(names.in()[0].in(), "given");
    EXPECT_STREQ(out.in()[1].in(), "moved");
    EXPECT_STREQ(moved[0].in(), "given");
}

TEST_F(GeneratedCalls, NamesAttributesOnewayAndInheritance) {
    CORBA_Long sum = 6;
    EXPECT_EQ(client->_cxx_template(1, 2, 3, "four", sum, spades, 7), 26);
    EXPECT_EQ(sum, 26);
    EXPECT_EQ(client->_cxx_delete(), -1);
    client->title("new");
    EXPECT_STREQ(CORBA_String_var(client->title()).in(), "new");
    EXPECT_TRUE(client->twoWay);
    client->tell("x", 3);
    EXPECT_FALSE(client->twoWay);
    EXPECT_EQ(servant->told, "x3");

    const Calls::Root_var root(Calls::Root::_narrow(servant));
    EXPECT_EQ(root.in(), static_cast<Calls::Root*>(servant));
    EXPECT_EQ(Everything::Later::_narrow(servant), nullptr);
    EXPECT_EQ(Calls::Both::_type.impl()->bases().back(), &CORBA_Object_type);
    EXPECT_FALSE(servant->_is_persistent());
    EXPECT_STREQ(CORBA_Object_var(new Servant("named"))->_object_name(), "named");
    EXPECT_TRUE(CORBA_Object_var(new Servant("named"))->_is_persistent());
    EXPECT_TRUE(CORBA_Object_var(new Servant("service", CORBA_OctetSequence()))->_is_persistent());
}

TEST_F(GeneratedCalls, WhatGoesWrong) {
    client->stop(0);
    try {
        client->stop(1);
        FAIL();
    } catch (const Calls::Stopped& stopped) {
        EXPECT_EQ(stopped.code, 7);
        EXPECT_STREQ(stopped.why[1].in(), "enough");
    }
    client->transient = 3;
    client->stop(0);
    EXPECT_EQ(client->transient, 0);

    CORBA_String_var out, inout("in");
    EXPECT_THROW(client->shortTexts("five5", out.out(), inout.inout()), CORBA_BAD_PARAM);
    EXPECT_THROW(client->shortTexts("four", out.out(), (inout = "five5").inout()), CORBA_BAD_PARAM);
    EXPECT_STREQ(inout.in(), "five5");
    client->title("");
    servant->title(static_cast<char*>(nullptr));
    EXPECT_THROW(client->title(), CORBA_BAD_PARAM); // a null result

    client->absorbed = true;
    CORBA_Short number = 5, same = 6;
    EXPECT_EQ(client->shorts(1, number, same), 0);
    EXPECT_EQ(same, 6);
    Everything::Longs longs;
    auto* none = &longs;
    EXPECT_EQ(client->longs(longs, none, longs), nullptr);
    EXPECT_EQ(none, nullptr);
}

} // namespace
