#pragma once

#include <utility>

// The data that a member of an interceptor chain keeps for one exchange.
class TRXClosureData {
public:
    TRXClosureData() = default;
    TRXClosureData(const TRXClosureData&) = delete;
    TRXClosureData& operator=(const TRXClosureData&) = delete;
    virtual ~TRXClosureData() = default;
    virtual void destroy() { delete this; }
};

// The data of one exchange, from its first step to its last: a bind of a stub, a request of a client, or a
// request at a server. It belongs to the caller of the steps and is destroyed with its `data`.
class TRXClosure {
public:
    TRXClosure() = default;
    TRXClosure(const TRXClosure&) = delete;
    TRXClosure& operator=(const TRXClosure&) = delete;
    ~TRXClosure() { clear(); }

    TRXClosureData* data() const { return _data; }
    // Takes ownership of `data` and destroys the old data.
    void data(TRXClosureData* data) {
        if (TRXClosureData* old = std::exchange(_data, data))
            old->destroy();
    }
    void clear() { data(nullptr); }
    TRXClosureData* release() { return std::exchange(_data, nullptr); } // the caller owns it

private:
    TRXClosureData* _data = nullptr;
};
