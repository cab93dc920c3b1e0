#include "agent/octets.h"

#include "agent/collections/dsdict.h"
#include "agent/collections/dslnklst.h"
#include "agent/collections/dsordclt.h"
#include "agent/collections/dsset.h"
#include "agent/records/trxstring.h"

#include <algorithm>
#include <vector>

namespace {

// A record whose hash a test chooses and whose life it can watch.
class Probe : public DSResource {
public:
    static inline int alive = 0;

    Probe(uint32_t hash, int id) : hash_(hash), id_(id) { ++alive; }
    ~Probe() override { --alive; }

    int id() const { return id_; }
    void write(NCostream&) const override {}
    uint32_t hash() const override { return hash_; }
    int compare(const NCObject* other) const override { return id_ - static_cast<const Probe*>(other)->id_; }

private:
    uint32_t hash_;
    int id_;
};

std::string texts(const DSCollection& collection) {
    std::string all;
    Iterator it;
    while (void* cursor = collection.next(it))
        all += nc_cast<TRXString>(collection.at(cursor))->text();
    return all;
}

template <class Collection>
void fill(Collection& collection, const char* letters) {
    for (const char* c = letters; *c; ++c)
        collection.add(new TRXString(std::string(1, *c).c_str()));
}

TEST(DSSet, keepsTheFirstOfEqualElements) {
    const NCRef<TRXString> first = new TRXString("a");
    const NCRef<TRXString> second = new TRXString("a");
    DSSet set;
    EXPECT_EQ(set.add(first.get()), first.get());
    EXPECT_EQ(set.add(second.get()), first.get());
    EXPECT_EQ(set.size(), 1u);
    EXPECT_EQ(first->refCount(), 2u);
    EXPECT_EQ(second->refCount(), 1u); // the caller's own
    EXPECT_EQ(set.find(second.get()), first.get());
    EXPECT_EQ(set.remove(second.get()), 1);
    EXPECT_EQ(set.remove(second.get()), 0);
    EXPECT_EQ(first->refCount(), 1u);
    EXPECT_TRUE(set.isEmpty());
}

TEST(DSSet, growsFourfoldWithThe32ndElement) {
    DSSet set(16);
    for (int i = 1; i <= 31; ++i)
        set.add(new Probe(static_cast<uint32_t>(i), i));
    EXPECT_EQ(set.capacity(), 32u);
    set.add(new Probe(32, 32));
    EXPECT_EQ(set.capacity(), 128u);
    set.clear();
    EXPECT_EQ(set.capacity(), 128u);
    EXPECT_EQ(Probe::alive, 0);
}

TEST(DSSet, algebra) {
    DSSet a;
    DSSet b;
    fill(a, "abc");
    fill(b, "cdb");
    const auto sorted = [](const DSSet* set) {
        std::string letters = texts(*set);
        std::sort(letters.begin(), letters.end());
        return letters;
    };
    const NCRef<DSSet> both = DSSet::unionOf(a, b);
    EXPECT_EQ(sorted(both.get()), "abcd");
    EXPECT_EQ(both->capacity(), 128u); // for the size argument 64
    const NCRef<DSSet> common = DSSet::intersectionOf(a, b);
    EXPECT_EQ(sorted(common.get()), "bc");
    const NCRef<DSSet> rest = DSSet::differenceOf(a, b);
    EXPECT_EQ(sorted(rest.get()), "a");
    const TRXString letter("a");
    EXPECT_EQ(a.find(&letter)->refCount(), 3u); // a, union, difference
    const DSSet copy(a);
    EXPECT_EQ(sorted(&copy), "abc");
    EXPECT_EQ(copy.capacity(), 8u);
    b.addAll(a);
    EXPECT_EQ(sorted(&b), "abc");
    EXPECT_EQ(a.find(&letter)->refCount(), 5u);
}

TEST(DSSet, comparesSizeThenSlotForSlot) {
    DSSet a;
    DSSet b;
    fill(a, "abc");
    fill(b, "abc");
    EXPECT_TRUE(a.isEqual(&b));
    EXPECT_EQ(a.hash(), 3u ^ 'a' ^ 'b' ^ 'c');
    b.add(new TRXString("d"));
    EXPECT_EQ(a.compare(&b), -1);
    a.add(new TRXString("e"));
    EXPECT_NE(a.compare(&b), 0);
}

TEST(DSDictionary, putKeepsTheOldValue) {
    const NCRef<Probe> newer = new Probe(0, 2);
    {
        DSDictionary dictionary;
        const TRXString key("k");
        DSAssoc* assoc = dictionary.put(new TRXString("k"), new Probe(0, 1));
        ASSERT_NE(assoc, nullptr);
        EXPECT_EQ(assoc->refCount(), 1u);
        EXPECT_EQ(dictionary.put(new TRXString("k"), newer.get()), nullptr);
        EXPECT_EQ(newer->refCount(), 1u);
        EXPECT_EQ(dictionary.size(), 1u);
        EXPECT_EQ(static_cast<Probe*>(dictionary.at(&key))->id(), 1);
        EXPECT_EQ(dictionary.findAssoc(&key), assoc);
        EXPECT_TRUE(dictionary.includesKey(&key));
        EXPECT_EQ(dictionary.removeKey(&key), 1);
        EXPECT_EQ(dictionary.removeKey(&key), 0);
        EXPECT_EQ(dictionary.at(&key), nullptr);
        EXPECT_EQ(Probe::alive, 1);
    }
}

TEST(DSDictionary, takesAssociationsOnlyAndCountsValues) {
    DSDictionary dictionary;
    const NCRef<TRXString> text = new TRXString("t");
    EXPECT_EQ(dictionary.add(text.get()), nullptr);
    EXPECT_EQ(dictionary.remove(text.get()), 0);
    dictionary.put(new TRXString("a"), text.get());
    dictionary.put(new TRXString("b"), new TRXString("t"));
    dictionary.put(new TRXString("c"), new TRXString("u"));
    EXPECT_EQ(dictionary.includes(text.get()), 2);
    const DSAssoc probe(new TRXString("a"), nullptr);
    EXPECT_EQ(dictionary.removeAssoc(&probe), 1);
    EXPECT_EQ(dictionary.size(), 2u);
    EXPECT_EQ(text->refCount(), 1u);
    DSDictionary copy(dictionary);
    EXPECT_EQ(copy.compare(&dictionary), 0);
    const TRXString c("c");
    copy.removeKey(&c);
    copy.put(new TRXString("c"), new TRXString("v"));
    EXPECT_NE(copy.compare(&dictionary), 0);
}

TEST(DSOrderedCltn, insertsShiftsAndRemoves) {
    DSOrderedCltn items(2);
    fill(items, "bd");
    EXPECT_EQ(items.capacity(), 2u);
    EXPECT_EQ(items.at(-1), nullptr);
    EXPECT_EQ(items.at(2), nullptr);
    const TRXString b("b");
    const TRXString d("d");
    const TRXString missing("x");
    items.addFirst(new TRXString("a"));
    EXPECT_EQ(items.capacity(), 4u);
    items.addAfter(&b, new TRXString("c"));
    items.addBefore(&d, new TRXString("b"));
    EXPECT_EQ(items.capacity(), 8u);
    EXPECT_EQ(texts(items), "abcbd");
    const NCRef<TRXString> unused = new TRXString("u");
    EXPECT_EQ(items.addAfter(&missing, unused.get()), nullptr);
    EXPECT_EQ(items.addBefore(&missing, unused.get()), nullptr);
    EXPECT_EQ(unused->refCount(), 1u);
    EXPECT_EQ(items.indexOf(&b), 1);
    EXPECT_EQ(items.indexOf(&missing), -1);
    EXPECT_EQ(items.includes(&b), 2);
    EXPECT_EQ(items.removeIdentical(&b), 0);
    EXPECT_EQ(items.removeIdentical(items.at(3)), 1);
    EXPECT_EQ(items.remove(&b), 1);
    EXPECT_EQ(texts(items), "acd");
    EXPECT_EQ(items.removeAt(3), 0);
    EXPECT_EQ(items.removeFirst(), 1);
    EXPECT_EQ(items.removeLast(), 1);
    EXPECT_EQ(items.first(), items.last());
    items.clear();
    EXPECT_EQ(items.first(), nullptr);
    EXPECT_EQ(items.removeLast(), 0);
    EXPECT_EQ(items.capacity(), 8u);
}

TEST(DSLinkedList, insertsWalksAndRemoves) {
    DSLinkedList list;
    fill(list, "bd");
    const TRXString b("b");
    const TRXString missing("x");
    list.addFirst(new TRXString("a"));
    list.addAfter(&b, new TRXString("c"));
    EXPECT_EQ(texts(list), "abcd");
    EXPECT_EQ(list.addAfter(&missing, nullptr), nullptr);
    Iterator it;
    list.next(it);
    list.next(it);
    EXPECT_EQ(it.position, 2u);
    list.reset(it);
    EXPECT_EQ(list.at(list.next(it)), list.first());
    EXPECT_EQ(list.at(2)->compare(list.at(2)), 0);
    EXPECT_EQ(list.at(-1), nullptr);
    EXPECT_EQ(list.at(4), nullptr);
    EXPECT_EQ(list.removeLast(), 1);
    EXPECT_EQ(list.removeFirst(), 1);
    list.add(new TRXString("b"));
    EXPECT_EQ(texts(list), "bcb");
    EXPECT_EQ(list.occurrencesOf(&b), 2);
    EXPECT_EQ(list.removeIdentical(&b), 0);
    EXPECT_EQ(list.removeIdentical(list.last()), 1);
    EXPECT_EQ(list.remove(&b), 1);
    EXPECT_EQ(list.first(), list.last());
    EXPECT_EQ(list.removeLast(), 1);
    EXPECT_EQ(list.removeLast(), 0);
    EXPECT_EQ(list.first(), nullptr);
    list.add(new TRXString("z"));
    EXPECT_EQ(texts(list), "z");
}

TEST(Collections, holdOneReferencePerPlaceAndGiveItBack) {
    const NCRef<Probe> probe = new Probe(1, 1);
    {
        DSSet set;
        DSOrderedCltn items;
        DSLinkedList list;
        set.add(probe.get());
        for (int i = 0; i < 2; ++i) {
            items.add(probe.get());
            list.add(probe.get());
        }
        EXPECT_EQ(probe->refCount(), 6u);
        items.removeAt(0);
        list.removeFirst();
        EXPECT_EQ(probe->refCount(), 4u);
    }
    EXPECT_EQ(probe->refCount(), 1u);
}

TEST(Collections, inOrderCompareElementByElement) {
    DSOrderedCltn a;
    DSOrderedCltn b;
    fill(a, "ab");
    fill(b, "ba");
    EXPECT_EQ(a.hash(), 2u ^ 'a' ^ 'b');
    EXPECT_EQ(a.hash(), b.hash());
    EXPECT_NE(a.compare(&b), 0);
    EXPECT_NE(a.fingerprint(), b.fingerprint());
    DSLinkedList list;
    fill(list, "ab");
    EXPECT_EQ(list.hash(), a.hash());
    EXPECT_FALSE(list.isEqual(&a));
}

} // namespace
