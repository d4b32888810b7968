#ifndef RPC_ROOM_H
#define RPC_ROOM_H

// A run directory of the test's own and an endpoint mapper on a free loopback port, with the environment set to them.

#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "rpc_mapper.h"

struct Rpc_Room {
    char Directory[32] = "/tmp/rpcXXXXXX"; // short: a socket's path has 107 characters
    rpc_mapper *Mapper = nullptr;

    explicit Rpc_Room(bool withMapper = true, bool bigEndian = false, bool withSocket = true)
    {
        if (mkdtemp(Directory) == nullptr) abort();
        setenv("SORREL_RUNDIR", Directory, 1);
        setenv("QRT_EPMAP_PORT", "1", 1); // nobody listens there
        unsetenv("VELA_HOSTS");
        if (withMapper) StartMapper(bigEndian, withSocket);
    }
    void StartMapper(bool bigEndian = false, bool withSocket = true)
    {
        u32 status;
        rpc_mapper_options options = {nullptr, 0, !withSocket, 0, bigEndian};
        Mapper = rpc_mapper_start(&options, &status);
        if (!Mapper) abort();
        setenv("QRT_EPMAP_PORT", std::to_string(rpc_mapper_port(Mapper)).c_str(), 1);
    }
    ~Rpc_Room()
    {
        rpc_mapper_stop(Mapper);
        rmdir(Directory);
    }
};

#endif
