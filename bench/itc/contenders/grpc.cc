// gRPC: unary calls over a unix socket on a channel that stays open. The generic interface carries
// bytes, so that no time goes into the encoding of fields.

#include "contender.h"

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/grpcpp.h>

#include <vector>

namespace {

using namespace Bench;

constexpr char kMethod[] = "/bench.Contender/Take";

std::string addressOf(const Job& job) {
    return "unix:" + job.folder + "/socket";
}

grpc::ByteBuffer newPayload(std::size_t size) {
    grpc::Slice slice(size);
    writePayload(const_cast<unsigned char*>(slice.begin()), size);
    return grpc::ByteBuffer(&slice, 1);
}

void readPayloadOf(const grpc::ByteBuffer& buffer) {
    std::vector<grpc::Slice> slices;
    if (!buffer.Dump(&slices).ok()) {
        fail("the payload can't be read");
    }
    for (const grpc::Slice& slice : slices) {
        readPayload(slice.begin(), slice.size());
    }
}

void awaitNext(grpc::CompletionQueue& queue) {
    void* tag = nullptr;
    bool done = false;
    if (!queue.Next(&tag, &done) || !done) {
        fail("the call has ended");
    }
}

// Only calls: gRPC has no message without an answer.
class CallsOnly : public End {
public:
    void send(std::size_t) override { fail("gRPC only calls"); }
    void receive(std::size_t) override { fail("gRPC only calls"); }
};

class Hub : public CallsOnly {
public:
    explicit Hub(const Job& job) {
        grpc::ServerBuilder builder;
        builder.AddListeningPort(addressOf(job), grpc::InsecureServerCredentials());
        builder.RegisterAsyncGenericService(&service_);
        queue_ = builder.AddCompletionQueue();
        server_ = builder.BuildAndStart();
        if (server_ == nullptr) {
            fail("no gRPC server");
        }
    }

    void serveCall(std::size_t size) override {
        grpc::GenericServerContext context;
        grpc::GenericServerAsyncReaderWriter stream(&context);
        service_.RequestCall(&context, &stream, queue_.get(), queue_.get(), nullptr);
        awaitNext(*queue_);
        grpc::ByteBuffer request;
        stream.Read(&request, nullptr);
        awaitNext(*queue_);
        readPayloadOf(request);
        stream.WriteAndFinish(newPayload(size), grpc::WriteOptions(), grpc::Status::OK, nullptr);
        awaitNext(*queue_);
    }

    ~Hub() override {
        server_->Shutdown();
        queue_->Shutdown();
        void* tag = nullptr;
        bool done = false;
        while (queue_->Next(&tag, &done)) {
        }
    }

private:
    grpc::AsyncGenericService service_;
    std::unique_ptr<grpc::ServerCompletionQueue> queue_;
    std::unique_ptr<grpc::Server> server_;
};

class Spoke : public CallsOnly {
public:
    explicit Spoke(const Job& job)
        : stub_(grpc::CreateChannel(addressOf(job), grpc::InsecureChannelCredentials())) {}

    void call(std::size_t size) override {
        grpc::ClientContext context;
        const auto call = stub_.PrepareUnaryCall(&context, kMethod, newPayload(size), &queue_);
        call->StartCall();
        grpc::ByteBuffer answer;
        grpc::Status status;
        call->Finish(&answer, &status, nullptr);
        awaitNext(queue_);
        if (!status.ok()) {
            fail("gRPC: " + status.error_message());
        }
        readPayloadOf(answer);
    }

private:
    grpc::GenericStub stub_;
    grpc::CompletionQueue queue_;
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    return std::make_unique<Hub>(job);
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    return std::make_unique<Spoke>(job);
}
