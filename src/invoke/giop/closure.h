#pragma once

#include <utility>

// What a member of an interceptor chain keeps for one exchange.
class TRXClosureData {
public:
    TRXClosureData() = default;
    TRXClosureData(const TRXClosureData&) = delete;
    TRXClosureData& operator=(const TRXClosureData&) = delete;
    virtual ~TRXClosureData() = default;
    virtual void destroy() { delete this; }
};

// One exchange, from its first step to its last: a bind of a stub, a request of a client or a request at a
// server. It belongs to the caller of the steps, and what `data` holds goes with it.
class TRXClosure {
public:
    TRXClosure() = default;
    TRXClosure(const TRXClosure&) = delete;
    TRXClosure& operator=(const TRXClosure&) = delete;
    ~TRXClosure() { clear(); }

    TRXClosureData* data() const { return _data; }
    // Takes `data` over, and destroys what was there.
    void data(TRXClosureData* data) {
        if (TRXClosureData* old = std::exchange(_data, data))
            old->destroy();
    }
    void clear() { data(nullptr); }
    TRXClosureData* release() { return std::exchange(_data, nullptr); } // gives it to the caller

private:
    TRXClosureData* _data = nullptr;
};
