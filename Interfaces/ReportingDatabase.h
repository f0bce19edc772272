// Gives access to the host's reporting database.
#pragma once

#include "Interfaces/ComponentBase.h"
#include "Interfaces/Nodwell.h"

// One session with the database: temporary tables live as long as it does. Used by one thread at a time.
struct IDatabaseConnection : IComponentBase
{
    // Executes one batch of SQL text. `reserved`: 0. `result` may receive a node, which the module discards.
    virtual HRESULT Execute(const wchar_t* sql, int32_t reserved, IKelNode** result) = 0;
};

// Named instance; its name is the updater's key `DatabaseConnectionManager`.
struct IDatabaseConnectionManager : IComponentBase
{
    static constexpr GUID Iid{0x77F80486, 0xA491, 0x4B16, {0x80, 0xF1, 0x78, 0x50, 0x8F, 0x78, 0xAE, 0xC8}};

    // Opens a session for a connection-settings entry. `mode`: the module passes 1.
    virtual HRESULT OpenConnection(IKelNode* connectionSettings, int32_t mode, IDatabaseConnection** out) = 0;
};
