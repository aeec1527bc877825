// itcStreamBuf.h: a stream buffer that sends each write at once to the client of an execution.
//
// Private header of command.
//
// Thread: any, one at a time. It shares the two records.
#ifndef QUORIA_COMMAND_ITCSTREAMBUF_H
#define QUORIA_COMMAND_ITCSTREAMBUF_H

#include "rciServerConnection.h"
#include "rciServerProcedure.h"

#include <memory>
#include <streambuf>

struct itc_msg;

namespace Quoria::CommandRegistry::Backend {

// It has no put area: a single character comes in through overflow, anything else through xsputn,
// and there is never anything to flush. What is written to a closed connection is dropped; the
// stream sees no failure in any case.
class ItcStreamBuf : public std::streambuf {
public:
    ItcStreamBuf(const std::shared_ptr<RciServerProcedure>& procedure,
                 const std::shared_ptr<RciServerConnection>& connection);

protected:
    std::streamsize xsputn(const char* s, std::streamsize n) override;
    int overflow(int c) override;

private:
    void send(itc_msg* output);

    const std::shared_ptr<RciServerProcedure> procedure_;
    const std::shared_ptr<RciServerConnection> connection_;
};

}  // namespace Quoria::CommandRegistry::Backend

#endif
