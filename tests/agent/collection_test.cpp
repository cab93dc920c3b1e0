#include "agent/messages.h"

#include "agent/collections/dsdict.h"
#include "agent/collections/dslnklst.h"
#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/trxstring.h"

#include <algorithm>
#include <chrono>

namespace {

NCRef<DSResource> makeString(const std::string& value) { return new TRXString(value.c_str()); }

// The letters of its elements, or of their keys, in the order of the walk.
std::string letters(const DSCollection& collection) {
    std::string all;
    for (const DSResource* element : collection) {
        const auto* assoc = nc_cast<DSAssoc>(element);
        all += nc_cast<TRXString>(assoc ? assoc->key() : element)->text();
    }
    return all;
}
std::string sorted(std::string all) {
    std::ranges::sort(all);
    return all;
}

// What can be added to a collection of that class under a letter.
template <class Collection>
NCRef<DSResource> element(char letter) {
    const auto string = makeString(std::string(1, letter));
    if constexpr (std::is_same_v<Collection, DSDictionary>)
        return new DSAssoc(string.get(), nullptr);
    return string;
}
template <class Collection>
NCRef<Collection> filled(const std::string& all) {
    const NCRef<Collection> collection = new Collection;
    for (const char letter : all)
        collection->add(element<Collection>(letter).get());
    return collection;
}

// What all collections do alike.
template <class Collection>
class CollectionContract : public testing::Test {};
using AllCollections = testing::Types<DSSet, DSDictionary, DSOrderedCltn, DSLinkedList>;
TYPED_TEST_SUITE(CollectionContract, AllCollections);

TYPED_TEST(CollectionContract, holdsOneReferenceForEachPlaceAndGivesItBack) {
    constexpr bool isSet = std::is_base_of_v<DSSet, TypeParam>;
    const auto a = element<TypeParam>('a');
    const auto b = element<TypeParam>('b');
    const auto otherA = element<TypeParam>('a');
    const NCRef<TypeParam> all = new TypeParam;
    EXPECT_TRUE(all->isEmpty());
    EXPECT_EQ(all->add(a.get()), a.get());
    EXPECT_EQ(all->add(b.get()), b.get());
    // Of two equal elements a set keeps the first.
    EXPECT_EQ(all->add(otherA.get()), isSet ? a.get() : otherA.get());
    EXPECT_EQ(a->refCount() + otherA->refCount(), isSet ? 3u : 4u);
    EXPECT_EQ(all->size(), isSet ? 2u : 3u);
    EXPECT_EQ(all->remove(otherA.get()), 1); // the first that is equal
    EXPECT_EQ(all->remove(otherA.get()), isSet ? 0 : 1);
    EXPECT_EQ(a->refCount() + otherA->refCount(), 2u);
    EXPECT_EQ(letters(*all), "b");
    EXPECT_FALSE(all->isEmpty());
    all->clear();
    EXPECT_EQ(b->refCount(), 1u);
    EXPECT_EQ(letters(*all), "");
    EXPECT_EQ(filled<TypeParam>("a")->add(b.get()), b.get());
    EXPECT_EQ(b->refCount(), 1u); // the collection has gone
}

TYPED_TEST(CollectionContract, walksAndComparesItsElements) {
    const auto all = filled<TypeParam>("abc");
    const auto same = filled<TypeParam>("abc");
    const auto other = filled<TypeParam>("abd");
    const auto longer = filled<TypeParam>("abcd");
    harbolance::Iterator it;
    for (int round = 0; round < 2; ++round, all->reset(it)) {
        size_t count = 0;
        for (void* cursor = all->next(it); cursor; cursor = all->next(it))
            count += all->includes(all->at(cursor)) || std::is_same_v<TypeParam, DSDictionary> ? 1 : 0;
        EXPECT_EQ(count, 3u);
    }
    EXPECT_EQ(sorted(letters(*all)), "abc");
    EXPECT_EQ(all->hash(), 3u ^ 'a' ^ 'b' ^ 'c');
    EXPECT_TRUE(all->isEqual(same.get()) && !all->isEqual(other.get()) && !all->isEqual(nullptr));
    EXPECT_EQ(all->fingerprint(), same->fingerprint());
    EXPECT_NE(all->fingerprint(), other->fingerprint());
    EXPECT_EQ(all->compare(longer.get()), -1);
    EXPECT_EQ(longer->compare(all.get()), 1);
    const NCRef<TypeParam> received = nc_cast<TypeParam>(Carrier().decode(Carrier().encoded(longer.get())));
    for (const char letter : {'a', 'b', 'c', 'd'})
        EXPECT_EQ(received->remove(element<TypeParam>(letter).get()), 1);
}

TEST(DSSet, growsFourfoldWhenFullAndKeepsItsCapacity) {
    const auto set = filled<DSSet>("ABCDEFGHIJKLMNOPQRSTUVWXYZabcde");
    EXPECT_EQ(set->capacity(), 32u);
    set->add(makeString("f").get());
    set->clear();
    EXPECT_EQ(set->capacity(), 128u);
}

TEST(DSSet, algebra) {
    const auto a = filled<DSSet>("abc"), b = filled<DSSet>("cdb");
    const auto expect = [](const DSSet& set, const char* all, uint32_t capacity) {
        EXPECT_EQ(sorted(letters(set)), all);
        EXPECT_EQ(set.capacity(), capacity) << all;
    };
    expect(*DSSet::unionOf(*a, *b), "abcd", 128); // for the size argument 64
    expect(*DSSet::intersectionOf(*a, *b), "bc", 64);
    expect(*DSSet::differenceOf(*a, *b), "a", 64);
    expect(DSSet(*a), "abc", 8);
    b->addAll(*a);
    expect(*b, "abc", 32);
    EXPECT_EQ(a->find(makeString("a").get()), b->find(makeString("a").get()));
    EXPECT_EQ(a->find(makeString("d").get()), nullptr);
}

TEST(DSDictionary, looksUpByKeyAndCountsValues) {
    const NCRef<DSDictionary> dictionary = new DSDictionary;
    const auto key = makeString("k"), value = makeString("t"), newer = makeString("n");
    DSAssoc* assoc = dictionary->put(makeString("k").get(), value.get());
    EXPECT_EQ(dictionary->put(key.get(), newer.get()), nullptr); // the old value stays
    EXPECT_EQ(newer->refCount(), 1u);
    EXPECT_EQ(dictionary->at(key.get()), value.get());
    EXPECT_EQ(dictionary->findAssoc(key.get()), assoc);
    EXPECT_FALSE(dictionary->includesKey(value.get()));
    dictionary->put(newer.get(), makeString("t").get());
    EXPECT_EQ(dictionary->includes(value.get()), 2);
    EXPECT_EQ(dictionary->includes(key.get()), 0);
    DSDictionary copy(*dictionary);
    EXPECT_EQ(copy.removeKey(newer.get()), 1);
    copy.put(newer.get(), makeString("u").get());
    EXPECT_NE(copy.compare(dictionary.get()), 0); // values count
    EXPECT_EQ(dictionary->removeAssoc(assoc), 1);
    EXPECT_EQ(dictionary->at(key.get()), nullptr);
    // Elements are associations, and nothing else.
    EXPECT_EQ(dictionary->add(key.get()), nullptr);
    EXPECT_EQ(dictionary->remove(newer.get()), 0);
}

// What both kinds of list do by place.
template <class List>
class ListContract : public testing::Test {};
using AllLists = testing::Types<DSOrderedCltn, DSLinkedList>;
TYPED_TEST_SUITE(ListContract, AllLists);

TYPED_TEST(ListContract, insertsAndRemovesByPlace) {
    const auto list = filled<TypeParam>("bd");
    const auto b = makeString("b");
    list->addFirst(makeString("a").get());
    list->addAfter(b.get(), makeString("c").get());
    list->addAfter(makeString("d").get(), b.get());
    EXPECT_EQ(list->addAfter(makeString("x").get(), b.get()), nullptr);
    EXPECT_EQ(letters(*list), "abcdb");
    EXPECT_EQ(list->includes(b.get()), 2);
    EXPECT_EQ(list->at(0), list->first());
    EXPECT_EQ(list->at(4), list->last());
    EXPECT_FALSE(list->at(-1) || list->at(5));
    EXPECT_EQ(list->removeIdentical(makeString("b").get()), 0);
    EXPECT_EQ(list->removeIdentical(b.get()), 1); // behind an equal one
    EXPECT_EQ(letters(*list), "abcd");
    EXPECT_EQ(list->removeFirst() + list->removeLast() + list->remove(makeString("c").get()), 3);
    EXPECT_EQ(list->first(), list->last());
    EXPECT_EQ(list->removeLast(), 1);
    EXPECT_FALSE(list->first() || list->last() || list->removeFirst() || list->removeLast());
    list->add(b.get());
    EXPECT_EQ(list->last(), b.get());
    harbolance::Iterator it;
    list->next(it);
    EXPECT_EQ(it.position, 1u);
}

TEST(DSOrderedCltn, insertsBeforeAndDoublesItsCapacity) {
    DSOrderedCltn list(1);
    for (const uint32_t capacity : {1u, 2u, 4u}) {
        EXPECT_NE(capacity == 1 ? list.add(makeString("c").get())
                                : list.addBefore(makeString("c").get(), makeString("b").get()),
                  nullptr);
        EXPECT_EQ(list.capacity(), capacity);
    }
    EXPECT_EQ(list.addBefore(makeString("x").get(), makeString("b").get()), nullptr);
    EXPECT_EQ(list.indexOf(makeString("c").get()), 2);
    EXPECT_EQ(list.indexOf(makeString("x").get()), -1);
    EXPECT_EQ(list.removeAt(3), 0);
    EXPECT_EQ(list.removeAt(1), 1);
    EXPECT_EQ(letters(list), "bc");
}

// Lists of the same members in another order hash alike, and there are as many as a sender likes.
TEST(DSSet, findsElementsOfEqualHashQuickly) {
    const auto start = std::chrono::steady_clock::now();
    DSSet all(40000);
    std::string order = "abcdefgh";
    for (; all.size() < 40000; std::ranges::next_permutation(order))
        all.add(filled<DSOrderedCltn>(order).get());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

} // namespace
