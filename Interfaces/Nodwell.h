// The host's node library, Nodwell.dll / libNodwell.so.
//
// A node has a name, a node type (both may be empty), attributes, ordered children and at most one parent. Nodes are
// reached through counted handles only: a handle that a function hands out belongs to the caller, who closes it with
// KelnCloseNodeHandle. Handles of the same node are equal as pointers. All functions may be called from any thread,
// also on the same node; each call is atomic.
//
// Absent means HResultFromWin32(ERROR_NOT_FOUND), too small HResultFromWin32(ERROR_INSUFFICIENT_BUFFER) with the
// size needed stored in the size argument; on success it holds the size used.
#pragma once

#include "Platform/Types.h"

struct IKelNode;

// Value types of attributes. A value of n UTF-16 units of text takes (n + 1) x 2 bytes on every platform.
enum KelNodeValueType : uint16_t
{
    KelnEmpty = 0,        // exists but holds nothing
    KelnText8 = 1,        // UTF-8 text with its terminating zero
    KelnText = 2,         // UTF-16LE text with its terminating zero
    KelnInt32 = 3,        // signed, 4 bytes
    KelnUInt32 = 4,       // unsigned, 4 bytes
    KelnInt64 = 6,        // signed, 8 bytes
    KelnBool = 7,         // 1 byte, 0 or 1
    KelnBinary = 12,      // any bytes
    KelnListFlag = 0x100, // list of values of the type in the low byte
    KelnTextList = 0x102, // UTF-16LE texts, each followed by a zero character; no bytes at all for an empty list
};

inline constexpr uint64_t KelnWholeTree = 0x7FFFFFFF; // depth: the node and all its descendants
inline constexpr uint32_t KelnNameOnly = 0;           // kinds of KelnGetNodeName
inline constexpr uint32_t KelnPath = 2;               // the names from the root down, each preceded by a backslash

using KelnWriteCallback = HRESULT (*)(const void* data, uint32_t size, void* context);

extern "C"
{

    // A detached node; either text may be null.
    HRESULT KelnCreateNode(const wchar_t* name, const wchar_t* nodeType, IKelNode** node);
    // A detached copy of the node and its descendants down to `depth` levels (0: the node alone). `flags`: 0.
    HRESULT KelnCloneNode(IKelNode* node, uint64_t depth, uint32_t flags, IKelNode** clone);
    HRESULT KelnDuplicateNodeHandle(IKelNode* node, IKelNode** duplicate);
    HRESULT KelnCloseNodeHandle(IKelNode* node);

    // S_OK and a null handle for a root.
    HRESULT KelnGetParent(IKelNode* node, IKelNode** parent);
    HRESULT KelnGetChildCount(IKelNode* node, uint64_t* count);
    // Absent when there is no such child. By name: the first child with exactly that name.
    HRESULT KelnGetChildByIndex(IKelNode* node, uint64_t index, IKelNode** child);
    HRESULT KelnGetChildByName(IKelNode* node, const wchar_t* name, IKelNode** child);
    // Appends a node that has no parent.
    HRESULT KelnAddChild(IKelNode* parent, IKelNode* child);
    HRESULT KelnRemoveChild(IKelNode* parent, IKelNode* child);

    // Sizes in characters, terminator counted.
    HRESULT KelnGetNodeName(IKelNode* node, uint32_t kind, wchar_t* buffer, uint32_t* size);
    HRESULT KelnGetNodeType(IKelNode* node, wchar_t* buffer, uint32_t* size);
    // All names, each followed by a zero character: size is the sum of (length + 1), 0 when there is no attribute.
    HRESULT KelnGetAttributeNames(IKelNode* node, wchar_t* buffer, uint32_t* size);

    // Copies the value, converted to *requestedType (null: as stored). `size` in bytes. With a null buffer the call is
    // a query: it succeeds and reports size and stored type through the pointers that are not null.
    HRESULT KelnGetAttribute(IKelNode* node, const wchar_t* name, const uint16_t* requestedType, void* buffer,
                             uint32_t* size, uint16_t* storedType);
    // Creates or replaces the attribute. `size` in bytes.
    HRESULT KelnSetAttribute(IKelNode* node, const wchar_t* name, uint16_t type, const void* value, uint32_t size);

    // Serialization writes through `write` (called on the caller's thread; its failure fails the running call). Type 1
    // is UTF-8 text in which the nodes stand between "<nr>" and "</nr>". `depth` 0: the nodes alone; 0x7FFFFFFF: whole
    // trees.
    HRESULT KelnStartSerialization(uint32_t type, uint32_t flags, KelnWriteCallback write, void* writeContext,
                                   void** context);
    HRESULT KelnSerializeNodes(void* context, IKelNode* const* nodes, uint32_t count, uint32_t depth);
    HRESULT KelnFinalizeSerialization(void* context);
    HRESULT KelnCloseSerializationContext(void* context);
}
