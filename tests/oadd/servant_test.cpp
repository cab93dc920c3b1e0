// The daemon's operations, on servers that the test plays.

#include "marshal/reference/vutil.h"
#include "oadd/servant.h"
#include "oadd/signals.h"
#include "orb/vorb.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace oadd;

namespace {

constexpr const char* account = "IDL:Bank/Account:1.0";
constexpr const char* program = "/bin/true";

CORBA_BOA* adapter() {
    static CORBA_BOA* const boa = [] {
        const char* words[] = {"test", "-OAipaddr", "127.0.0.1", "-OAagent", "0"};
        int argc = 5;
        CORBA_ORB_init();
        return CORBA_ORB_init()->BOA_init(argc, const_cast<char**>(words));
    }();
    return boa;
}

TRXEXT_CreationImplDef definition(const char* interface, const char* name, const char* path = program,
                                  CORBA_ULong policy = SHARED_SERVER) {
    return {interface, name, CORBA_OctetSequence(), path, CORBA_StringSequence(), CORBA_StringSequence(),
            policy};
}

CORBA_Object_var object(const char* repId, const char* name, CORBA_UShort port = 9) {
    const TRXRef<TRXObjectId> id(new TRXPersistentId(repId, name));
    IIOP::ProfileBody body;
    body.host = "127.0.0.1";
    body.port = port;
    const CORBA_OctetSequence_var key(TRXUtil::key_from_id(*id));
    body.object_key = *key;
    IOP::IOR ior;
    ior.type_id = repId;
    TRXUtil::set_iiop_body(ior, body);
    const CORBA_String_var text(TRXUtil::ior_to_string(ior));
    return CORBA_Object_var(CORBA_ORB_init()->string_to_object(text.in()));
}

class OaddServant : public testing::Test {
protected:
    OaddServant() {
        programs.add("/bin");
        Signals::hold();
        EXPECT_TRUE(signals.open());
        EXPECT_FALSE(registrations.load());
        CORBA_BOA* const boa = adapter();
        oad = Activation::OAD_var(new Servant("test", daemon));
        boa->obj_is_ready(oad.in());
        references = std::make_unique<References>(*CORBA_ORB_init(), oad.in());
        announcer = std::make_unique<Announcer>(*references, false);
        daemon.references = references.get();
        daemon.announcer = announcer.get();
        servers.use({"IOR:00", {"-ORBagentport", "7"}});
    }
    ~OaddServant() override {
        adapter()->deactivate_obj(oad.in());
        std::filesystem::remove_all(folder);
    }

    void add(const TRXEXT_CreationImplDef& given) { CORBA_release(oad->reg_implementation(given)); }
    std::string activate(const CORBA_Object_var& given, const char* repId, CORBA_Long uid = 5) {
        const std::unique_ptr<TRXEXT_CreationImplDef> found(oad->boa_activate_obj(given.in(), repId, uid));
        return std::string(found->interface_name()) + " " + found->object_name();
    }
    Activation::State state(const char* name) {
        const Activation::ImplementationStatus_var status(oad->get_status(account, name));
        return status->objects[0].state;
    }

    static std::string newFolder() {
        std::string pattern = testing::TempDir() + "oaddXXXXXX";
        return ::mkdtemp(pattern.data());
    }

    const std::string folder = newFolder();
    RegistrationFile file{folder + "/registrations"};
    Registrations registrations{file};
    Programs programs;
    Access access{{}};
    Servers servers{programs, {}};
    Lookups lookups{registrations, servers};
    Signals signals{servers, lookups};
    Daemon daemon{programs, access, registrations, servers, lookups};
    std::unique_ptr<References> references;
    std::unique_ptr<Announcer> announcer;
    Activation::OAD_var oad;
};

} // namespace

TEST_F(OaddServant, definitionsAreRefusedForTheirReasons) {
    add(definition(account, "Anna"));
    EXPECT_THROW(add(definition(account, "Anna")), Activation::DuplicateEntry);
    EXPECT_THROW(add(definition(account, "B", "true")), Activation::InvalidPath);
    EXPECT_THROW(add(definition(account, "B", "/etc/passwd")), Activation::InvalidPath);
    EXPECT_THROW(add(definition("", "B")), CORBA_BAD_PARAM);
    EXPECT_THROW(add(definition(account, "B", program, 3)), CORBA_BAD_PARAM);
    EXPECT_THROW(add(definition("IDL:tarnwicknet/Activation/OAD:1.0", "B")), CORBA_BAD_PARAM);
    std::filesystem::create_directory(file.path() + ".new");
    EXPECT_THROW(add(definition(account, "B")), CORBA_PERSIST_STORE);
    const Activation::ImplementationStatusSeq_var all(oad->get_status_all());
    ASSERT_EQ(all->length(), 1U) << "what cannot be written does not happen";
    EXPECT_STREQ((*all)[0].impl.object_name(), "Anna");
}

TEST_F(OaddServant, whatIsNotRegistered) {
    EXPECT_THROW(oad->unreg_implementation(account, ""), Activation::NotRegistered);
    EXPECT_THROW(oad->unreg_interface(account), Activation::NotRegistered);
    EXPECT_THROW(oad->lookup_interface(account, 0), Activation::NotRegistered);
    EXPECT_THROW(oad->lookup_implementation(account, "", 0), Activation::NotRegistered);
    EXPECT_THROW(oad->get_status(account, ""), Activation::NotRegistered);
    EXPECT_THROW(oad->get_implementation(account, ""), Activation::NotRegistered);
    EXPECT_THROW(oad->change_implementation(definition(account, ""), definition(account, "")),
                 Activation::NotRegistered);
    EXPECT_THROW(activate(object(account, "x"), account), Activation::NotRegistered);
    EXPECT_THROW(oad->boa_deactivate_obj(object(account, "x").in(), account, 5), Activation::NotRegistered);
    EXPECT_THROW(activate(CORBA_Object_var(), account), CORBA_BAD_PARAM);
    oad->unregister_all();
}

TEST_F(OaddServant, activeObjects) {
    add(definition(account, "Anna"));
    add(definition(account, ""));
    add(definition("*", "Files"));
    EXPECT_EQ(activate(object(account, "Anna"), account), std::string(account) + " Anna");
    EXPECT_EQ(activate(object(account, "Anna"), "Bank::Account"), std::string(account) + " Anna");
    EXPECT_EQ(activate(object(account, "Other"), account), std::string(account) + " ");
    EXPECT_EQ(activate(object("IDL:X:1.0", "Files"), "IDL:X:1.0"), "* Files");
    EXPECT_THROW(activate(object("IDL:X:1.0", "Anna"), "IDL:X:1.0"), Activation::NotRegistered);
    EXPECT_EQ(state("Anna"), Activation::active);
    EXPECT_EQ(state(""), Activation::active);
    // The same object, with the reference that its adapter has after the daemon has registered it.
    const CORBA_Object_var here(references->toHere({account, "Anna"}));
    EXPECT_EQ(activate(here, account), std::string(account) + " Anna");
    oad->boa_deactivate_obj(here.in(), account, 5);
    EXPECT_EQ(state("Anna"), Activation::registered);
    EXPECT_THROW(oad->boa_deactivate_obj(here.in(), account, 5), Activation::NotRegistered);
}

TEST_F(OaddServant, changesWhileAServerRuns) {
    add(definition(account, "Anna"));
    add(definition(account, "Bert"));
    activate(object(account, "Anna"), account);
    EXPECT_THROW(oad->unreg_implementation(account, "Anna"), Activation::IsActive);
    EXPECT_THROW(oad->unreg_interface(account), Activation::IsActive);
    EXPECT_THROW(oad->unregister_all(), Activation::IsActive);
    EXPECT_THROW(oad->change_implementation(definition(account, "Anna"), definition(account, "Cora")),
                 Activation::IsActive);
    EXPECT_THROW(oad->change_implementation(definition(account, "Bert"), definition(account, "Anna")),
                 Activation::DuplicateEntry);
    oad->change_implementation(definition(account, "Bert"), definition(account, "Dora", "/bin/false"));
    const std::unique_ptr<TRXEXT_CreationImplDef> dora(oad->get_implementation(account, "Dora"));
    EXPECT_STREQ(dora->path_name(), "/bin/false");
    EXPECT_FALSE(oad->destroy_on_unregister());
    oad->destroy_on_unregister(1);
    oad->change_implementation(definition(account, "Anna"), definition(account, "Anna", "/bin/false"));
    EXPECT_EQ(state("Anna"), Activation::registered);
    oad->unreg_interface(account);
    EXPECT_THROW(oad->get_status(account, "Anna"), Activation::NotRegistered);
}

TEST_F(OaddServant, lookupsDoNotWait) {
    add(definition(account, "Anna"));
    EXPECT_THROW(oad->lookup_implementation(account, "Anna", 0), Activation::Busy);
    EXPECT_EQ(state("Anna"), Activation::starting);
    EXPECT_THROW(oad->lookup_interface(account, -1), Activation::FailedToExecute)
        << "the program ends at once";
    EXPECT_EQ(state("Anna"), Activation::failed);
}

TEST_F(OaddServant, wordsForAShell) {
    CORBA_StringSequence words;
    words.length(3);
    words[0] = "a b";
    words[1] = "it's";
    words[2] = "";
    TRXEXT_CreationImplDef given = definition(account, "Anna");
    given.args(words);
    words.length(1);
    words[0] = "PATH=a b";
    given.env(words);
    const CORBA_String_var command(oad->generated_command(given));
    EXPECT_STREQ(command.in(), "/bin/true 'a b' 'it'\\''s' '' -ORBagentport 7 -OAactivateIOR IOR:00");
    const CORBA_String_var environment(oad->generated_environment(given));
    EXPECT_TRUE(std::string(environment.in()).starts_with("'PATH=a b'"));
}
