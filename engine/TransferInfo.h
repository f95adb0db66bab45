#pragma once

#include <string>

// What the transfer list reads of a running transfer, and how it stops one. Every call may come
// from another thread than the one driving the transfer.
class TransferInfo {
public:
    virtual ~TransferInfo() = default;

    virtual std::string HostText() const = 0;
    virtual std::string OperationText() const = 0;
    virtual std::string FileText() const = 0;
    virtual long long TransferTotal() const = 0;
    virtual long long TransferDone() const = 0;
    virtual int STOP() = 0;
};
