// itcMailboxLocatorImpl.h: the mailbox locator of one thread.
//
// Private header of itcMailboxLocator.
//
// Made, used and destroyed by its owner thread alone; nothing is locked.
#ifndef QUORIA_ITCMAILBOXLOCATOR_ITCMAILBOXLOCATORIMPL_H
#define QUORIA_ITCMAILBOXLOCATOR_ITCMAILBOXLOCATORIMPL_H

#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>

#include <memory>
#include <unordered_map>

struct itc_msg;

namespace Quoria::ItcMailboxLocator::V1 {

class QUORIA_EXPORT ItcMailboxLocatorImpl : public ItcMailboxLocatorIf {
public:
    static ItcMailboxLocatorImpl& getInstance();
    // Destroys the calling thread's instance, if there is one. Its callbacks may do so.
    static void reset();

    ItcMailboxLocatorImpl();
    ~ItcMailboxLocatorImpl() override;

    void locate(const std::string& name,
                const std::function<void(unsigned int)>& callback) override;

    // Answers the request that the indication belongs to, and may destroy this instance by that.
    void handleLocateIndMsg(const std::shared_ptr<itc_msg>& msg);

private:
    unsigned int lastIdentity_;
    std::unordered_map<unsigned int, LocateCallback> pending_;  // by identity
};

}  // namespace Quoria::ItcMailboxLocator::V1

#endif
