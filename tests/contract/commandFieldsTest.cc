// The fields of the records of the command registry, its server, its jobs and its client.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>
#include <unordered_map>
#include <vector>

#include "commandExecutionJobImpl.h"
#include "commandImpl.h"
#include "commandRegistryImpl.h"
#include "fields.h"
#include "itcStreamBuf.h"
#include "rciClient.h"
#include "rciServer.h"
#include "rciServerConnection.h"
#include "rciServerProcedure.h"

namespace Backend = Quoria::CommandRegistry::Backend;
using Quoria::Command::Backend::RciClient;
using Quoria::Command::V1::CommandImpl;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobImpl;
using Quoria::CommandRegistry::V1::CommandRegistryImpl;
using Invoker = std::function<void(const std::shared_ptr<CommandExecutionJobIf>&)>;
using ConnectionPointer = std::shared_ptr<Backend::RciServerConnection>;
using ProcedurePointer = std::shared_ptr<Backend::RciServerProcedure>;

struct CommandRegistryFields {
    friend Places placesOf(CommandRegistryFields);
};
template struct Fields<
    CommandRegistryFields, Table, Field<std::mutex, &CommandRegistryImpl::mutex_>,
    Field<std::unordered_map<std::string, bool>, &CommandRegistryImpl::isServedInAO_>,
    Field<std::shared_ptr<Quoria::ActiveObject::V1::ActiveObjectIf>,
          &CommandRegistryImpl::activeObject_>>;

struct ConnectionFields {
    friend Places placesOf(ConnectionFields);
};
template struct Fields<ConnectionFields, Nothing,
                       Field<std::string, &Backend::RciServerConnection::commandName>,
                       Field<std::uint32_t, &Backend::RciServerConnection::clientConnectionRef>,
                       Field<std::uint32_t, &Backend::RciServerConnection::monitorRef>,
                       Field<std::atomic<bool>, &Backend::RciServerConnection::connected>>;

struct ProcedureFields {
    friend Places placesOf(ProcedureFields);
};
template struct Fields<ProcedureFields, Nothing,
                       Field<std::uint32_t, &Backend::RciServerProcedure::clientRef>,
                       Field<std::uint32_t, &Backend::RciServerProcedure::clientMbox>,
                       Field<std::uint32_t, &Backend::RciServerProcedure::serverMbox>>;

struct ServerFields {
    friend Places placesOf(ServerFields);
};
template struct Fields<
    ServerFields, Nothing, Field<std::uint32_t, &Backend::RciServer::lastConnectionRef_>,
    Field<std::unordered_map<std::uint32_t, ConnectionPointer>, &Backend::RciServer::connections_>,
    Field<std::unordered_map<std::string, Invoker>, &Backend::RciServer::commandInvokers_>>;

struct JobFields {
    friend Places placesOf(JobFields);
};
template struct Fields<JobFields, Table,
                       Field<std::vector<std::string>, &CommandExecutionJobImpl::args_>,
                       Field<ProcedurePointer, &CommandExecutionJobImpl::procedure_>,
                       Field<ConnectionPointer, &CommandExecutionJobImpl::connection_>,
                       Field<Backend::ItcStreamBuf, &CommandExecutionJobImpl::streamBuf_>,
                       Field<std::ostream, &CommandExecutionJobImpl::out_>>;

struct StreamBufFields {
    friend Places placesOf(StreamBufFields);
};
template struct Fields<StreamBufFields, std::streambuf,
                       Field<ProcedurePointer, &Backend::ItcStreamBuf::procedure_>,
                       Field<ConnectionPointer, &Backend::ItcStreamBuf::connection_>>;

struct CommandFields {
    friend Places placesOf(CommandFields);
};
template struct Fields<CommandFields, Table, Field<std::string, &CommandImpl::name_>>;

struct ClientFields {
    friend Places placesOf(ClientFields);
};
template struct Fields<
    ClientFields, Nothing, Field<std::string, &RciClient::name_>,
    Field<std::uint32_t, &RciClient::serverMailbox_>, Field<std::uint32_t, &RciClient::revision_>,
    Field<std::uint32_t, &RciClient::connectionRef_>, Field<std::uint32_t, &RciClient::monitorId_>>;

namespace {

TEST(CommandRegistryRecords, HaveTheirFieldsInOrder) {
    expectInOrder(placesOf(CommandRegistryFields()));
}

TEST(RciServerRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(ConnectionFields()));
    expectInOrderAndNoMore(placesOf(ProcedureFields()));
    expectInOrder(placesOf(ServerFields()));
}

TEST(CommandExecutionRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(JobFields()));
    expectInOrderAndNoMore(placesOf(StreamBufFields()));
}

TEST(CommandRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(CommandFields()));
    expectInOrderAndNoMore(placesOf(ClientFields()));
}

}  // namespace
