// A host written in C, without any header of the project: it knows slot numbers, identifiers and structures only. It
// loads the module, creates every class, asks for every interface, drives update cycles and unloads, many times over.
// What it relies on is what another compiler's host relies on.
//
//     SlotHost MODULE [ROUNDS [KEPT]]     KEPT: open handles that the compiler's run-time may keep of each round
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

typedef int32_t HResult;
typedef struct
{
    uint32_t a;
    uint16_t b, c;
    uint8_t d[8];
} Guid;
typedef void (*Slot)(void);
typedef struct Object
{
    const Slot* slots;
} Object;

// The platform's loader (Platform/Testing/Process.h), and the two host libraries.
void* OpenModule(const char* path);
Slot FindExport(void* module, const char* name);
void CloseModule(void* module);
int IsModuleAt(const void* address);
HResult KelnCreateNode(const wchar_t* name, const wchar_t* type, void** node);
HResult KelnCloseNodeHandle(void* node);
HResult KelnAddChild(void* parent, void* child);
HResult KelnSetAttribute(void* node, const wchar_t* name, uint16_t type, const void* value, uint32_t size);
HResult HalvexRegisterInstance(const wchar_t* name, void* component);
HResult HalvexUnregisterInstance(const wchar_t* name);
uint64_t NodwellLiveNodes(void);
unsigned CountProcessHandles(void);

#define OK 0
#define NO_INTERFACE ((HResult)0x80004002)
#define INVALID_ARGUMENT ((HResult)0x80070057)
#define POINTER ((HResult)0x80004003)
#define CLASS_NOT_REGISTERED ((HResult)0x80040154)

static int failures;
#define EXPECT(condition)                                                                                              \
    ((condition) ? (void)0 : (void)(++failures, fprintf(stderr, "SlotHost.c:%d: not so: %s\n", __LINE__, #condition)))

// Slots of every interface, and slot 8 of the module object.
#define SLOT(object, n, type) ((type)((object)->slots[n]))
#define AddRef(o) SLOT(o, 0, uint32_t (*)(Object*))(o)
#define Release(o) SLOT(o, 1, uint32_t (*)(Object*))(o)
#define Query(o, iid, out) SLOT(o, 2, HResult (*)(Object*, const Guid*, void*))(o, iid, out)
#define Create(o, clsid, iid, out) SLOT(o, 8, HResult (*)(Object*, const Guid*, const Guid*, void*))(o, clsid, iid, out)

static const Guid Base = {0x51C3FBA2, 0x85FE, 0x436B, {0xA0, 0xFF, 0x1C, 0x61, 0xA5, 0xC0, 0xC5, 0x85}};
static const Guid Module = {0x989524A9, 0x625D, 0x48C8, {0xAB, 0x03, 0x7C, 0x08, 0x4E, 0xB5, 0x26, 0x5D}};
// Configurable, sink, source, updater, consumer, service, control.
enum
{
    Configurable = 0,
    Source = 2,
    Updater = 3,
    InterfaceCount = 7
};
static const Guid Interfaces[InterfaceCount] = {
    {0x9FD0681A, 0xA35D, 0x48EF, {0xA2, 0x26, 0xDE, 0x38, 0x46, 0xE1, 0x9D, 0x38}},
    {0xC58F7C8C, 0x47FB, 0x490D, {0xAC, 0x0F, 0xA6, 0xED, 0x5C, 0x96, 0xAD, 0xC8}},
    {0x73D8C0E3, 0xC61D, 0x4F30, {0xBA, 0xD8, 0x95, 0x17, 0x96, 0x45, 0xB9, 0x1E}},
    {0xCB66FADC, 0xC6E2, 0x4474, {0x85, 0xF6, 0x0F, 0x9A, 0x8E, 0xD3, 0x8C, 0x65}},
    {0x7922BA8A, 0x1D63, 0x400A, {0x9F, 0x0F, 0xC1, 0xA2, 0xCB, 0x4D, 0xAF, 0xDB}},
    {0xA3A15500, 0x301B, 0x4D78, {0xB4, 0x15, 0x14, 0xE2, 0xA6, 0x73, 0x99, 0xF3}},
    {0x45622F80, 0x2F68, 0x4571, {0xBC, 0xBC, 0x70, 0x65, 0x16, 0x01, 0x77, 0x1B}},
};
static const struct
{
    Guid id;
    const char* answers; // x for each interface that it has
} Classes[] = {
    {{0x164E71C0, 0x2257, 0x4F6A, {0x92, 0x3D, 0x7C, 0x7C, 0xCC, 0x9E, 0x4F, 0x37}}, "x-x--x-"},
    {{0x390AC417, 0x6289, 0x432E, {0x89, 0x06, 0x8F, 0x14, 0xF6, 0x0E, 0x77, 0x7F}}, "xxx----"},
    {{0xDF29F0A0, 0x9009, 0x4547, {0xA9, 0x0A, 0x64, 0xD6, 0x4D, 0x92, 0xD1, 0xB7}}, "x--x---"},
    {{0x68C56230, 0x5FC6, 0x470C, {0xAE, 0x48, 0xF5, 0xB1, 0x16, 0x49, 0xAD, 0x2F}}, "xxx---x"},
    {{0xB51DCB3B, 0xEDD1, 0x46ED, {0xB0, 0x33, 0x3E, 0xD2, 0x8C, 0x73, 0x94, 0x91}}, "x---x--"},
};

// The module object: Initialize 3, ReportAliveObjects 4, Lock 5, Unlock 6, IsLocked 7, CreateInstance 8.
static int32_t IsLocked(Object* module)
{
    int32_t locked = -1;
    EXPECT(SLOT(module, 7, HResult(*)(Object*, int32_t*))(module, &locked) == OK);
    return locked;
}

static void CheckModuleObject(Object* module)
{
    Object* found = NULL;
    EXPECT(Query(module, &Module, &found) == OK && found == module);
    EXPECT(Query(module, &Interfaces[Source], &found) == NO_INTERFACE);
    EXPECT(Query(module, NULL, &found) == INVALID_ARGUMENT && Query(module, &Base, NULL) == INVALID_ARGUMENT);
    EXPECT(AddRef(module) == 0xFFFFFFFFu && Release(module) == 0xFFFFFFFFu);
    EXPECT(SLOT(module, 3, HResult(*)(Object*))(module) == OK && SLOT(module, 4, HResult(*)(Object*))(module) == OK);
    EXPECT(SLOT(module, 5, uint32_t(*)(Object*))(module) == 1 && IsLocked(module) == 1);
    EXPECT(SLOT(module, 6, uint32_t(*)(Object*))(module) == 0 && IsLocked(module) == 0);
    EXPECT(SLOT(module, 7, HResult(*)(Object*, int32_t*))(module, NULL) == POINTER);
    EXPECT(Create(module, &Base, &Base, &found) == CLASS_NOT_REGISTERED);
}

static void CheckClasses(Object* module)
{
    for (size_t c = 0; c < sizeof Classes / sizeof *Classes; ++c) {
        Object* object = NULL;
        EXPECT(Create(module, &Classes[c].id, &Module, &object) == NO_INTERFACE && IsLocked(module) == 0);
        EXPECT(Create(module, &Classes[c].id, &Base, NULL) == INVALID_ARGUMENT && IsLocked(module) == 0);
        EXPECT(Create(module, &Classes[c].id, &Interfaces[Configurable], &object) == OK && IsLocked(module) == 1);
        if (!object)
            continue;
        for (int i = 0; i < InterfaceCount; ++i) {
            Object* other = NULL;
            const int expected = Classes[c].answers[i] == 'x';
            EXPECT(Query(object, &Interfaces[i], &other) == (expected ? OK : NO_INTERFACE));
            if (other) {
                EXPECT(AddRef(object) == 3 && Release(other) == 2);
                Release(other);
            }
        }
        EXPECT(SLOT(object, 3, HResult(*)(Object*, void*))(object, NULL) == POINTER);
        EXPECT(Release(object) == 0 && IsLocked(module) == 0);
    }
}

// The host's own components: one count, one answer to every identifier.
static atomic_uint references, statements, asked; // counted on several threads
static Object* settingsSink;

static uint32_t Hold(Object* self)
{
    return (void)self, ++references;
}
static uint32_t Drop(Object* self)
{
    return (void)self, --references;
}
static HResult Answer(Object* self, const Guid* iid, void** out)
{
    (void)iid;
    Hold(self);
    *out = self;
    return OK;
}

static HResult Unused(void)
{
    return (HResult)0x80004001;
}

static HResult Execute(Object* self, const wchar_t* sql, int32_t reserved, void** result)
{
    (void)self;
    EXPECT(reserved == 0 && *result == NULL);
    EXPECT(statements % 3 != 1 || wcsstr(sql, L"VALUES (N'CORP\\ann',NULL,'A')"));
    ++statements;
    return OK;
}
static Object connection = {(const Slot[]){(Slot)Hold, (Slot)Drop, (Slot)Answer, (Slot)Execute}};

static HResult OpenConnection(Object* self, void* entry, int32_t mode, Object** out)
{
    (void)self;
    EXPECT(entry && mode == 1);
    Hold(&connection);
    *out = &connection;
    return OK;
}
static Object connectionManager = {(const Slot[]){(Slot)Hold, (Slot)Drop, (Slot)Answer, (Slot)OpenConnection}};

static HResult Subscribe(Object* self, int32_t type, Object* sink, void** subscription)
{
    (void)self;
    EXPECT(type == 1);
    settingsSink = sink;
    AddRef(sink);
    return KelnCreateNode(L"subscription", NULL, subscription);
}
static HResult Unsubscribe(Object* self, void* subscription)
{
    (void)self;
    EXPECT(subscription != NULL);
    Release(settingsSink);
    return OK;
}
static Object settingsManager = {(const Slot[]){(Slot)Hold, (Slot)Drop, (Slot)Answer, (Slot)Unused, (Slot)Unused,
                                                (Slot)Unused, (Slot)Subscribe, (Slot)Unsubscribe}};

// Text of an attribute: UTF-16LE bytes with a terminator on every platform.
static void SetText(void* node, const wchar_t* name, const char* ascii)
{
    uint8_t bytes[128] = {0};
    const size_t length = strlen(ascii);
    for (size_t i = 0; i < length; ++i)
        bytes[2 * i] = (uint8_t)ascii[i];
    EXPECT(KelnSetAttribute(node, name, 2, bytes, (uint32_t)(2 * length + 2)) == OK);
}

static HResult GetAllowedViewers(Object* self, void** list)
{
    void* item = NULL;
    (void)self;
    ++asked;
    EXPECT(KelnCreateNode(NULL, NULL, list) == OK && KelnCreateNode(NULL, L"AccessRightsItem", &item) == OK);
    SetText(item, L"LogonName", "CORP\\ann");
    EXPECT(KelnAddChild(*list, item) == OK);
    return KelnCloseNodeHandle(item);
}
static Object source = {(const Slot[]){(Slot)Hold, (Slot)Drop, (Slot)Answer, (Slot)GetAllowedViewers}};

static void DriveUpdateCycles(Object* module)
{
    const uint8_t enabled = 1;
    const int32_t noPeriod = 0;
    Object *configurable = NULL, *updater = NULL;
    void *config = NULL, *settings = NULL, *entry = NULL;
    references = statements = asked = 0;
    EXPECT(HalvexRegisterInstance(L"C.Database", &connectionManager) == OK);
    EXPECT(HalvexRegisterInstance(L"C.Settings", &settingsManager) == OK);
    EXPECT(KelnCreateNode(L"config", NULL, &config) == OK);
    SetText(config, L"DatabaseConnectionManager", "C.Database");
    SetText(config, L"ReportingSettingsManager", "C.Settings");
    EXPECT(KelnSetAttribute(config, L"UpdateIntervalS", 3, &noPeriod, 4) == OK);
    EXPECT(Create(module, &Classes[2].id, &Interfaces[Configurable], &configurable) == OK);
    EXPECT(Query(configurable, &Interfaces[Updater], &updater) == OK);
    EXPECT(SLOT(configurable, 3, HResult(*)(Object*, void*))(configurable, config) == OK);
    // RegisterAccessInfoSource 3, UnregisterAccessInfoSource 4, UpdateAccessInfo 5
    for (int i = 0; i < 3; ++i) // in, out, in again
        EXPECT(SLOT(updater, 3 + i % 2, HResult(*)(Object*, Object*))(updater, &source) == OK);
    EXPECT(SLOT(updater, 5, HResult(*)(Object*, Object*, int32_t))(updater, NULL, 1) == OK);
    EXPECT(asked == 0 && statements == 0); // no settings yet

    EXPECT(KelnCreateNode(L"settings", NULL, &settings) == OK && KelnCreateNode(L"entry", NULL, &entry) == OK);
    EXPECT(KelnSetAttribute(entry, L"Enabled", 7, &enabled, 1) == OK && KelnAddChild(settings, entry) == OK);
    SetText(entry, L"ReportServerUrl", "http://localhost/");
    EXPECT(SLOT(settingsSink, 3, HResult(*)(Object*, int32_t, int32_t, void*))(settingsSink, 1, 0, settings) == OK);
    for (int i = 0; i < 3; ++i)
        EXPECT(SLOT(updater, 5, HResult(*)(Object*, Object*, int32_t))(updater, NULL, 1) == OK);
    EXPECT(asked >= 3 && statements == 3); // an unchanged list is written once

    KelnCloseNodeHandle(config);
    KelnCloseNodeHandle(entry);
    KelnCloseNodeHandle(settings);
    EXPECT(IsLocked(module) == 1);
    Release(updater);
    EXPECT(Release(configurable) == 0 && IsLocked(module) == 0);
    HalvexUnregisterInstance(L"C.Database");
    HalvexUnregisterInstance(L"C.Settings");
    EXPECT(references == 0 && NodwellLiveNodes() == 0);
}

int main(int argc, char** argv)
{
    const int rounds = argc > 2 ? atoi(argv[2]) : 1;
    const unsigned kept = argc > 3 ? (unsigned)atoi(argv[3]) : 0;
    unsigned handles = 0;
    if (argc < 2)
        return fprintf(stderr, "usage: SlotHost MODULE [ROUNDS [KEPT]]\n"), 2;
    for (int round = 0; round < rounds && failures == 0; ++round) {
        Object *object = NULL, *again = NULL;
        void* module = OpenModule(argv[1]);
        if (!module)
            return fprintf(stderr, "SlotHost: cannot load %s\n", argv[1]), 1;
        HResult (*entry)(void*) = (HResult(*)(void*))FindExport(module, "GetComponentsModuleObject");
        EXPECT(entry && entry(&object) == OK && entry(&again) == OK && object == again);
        EXPECT(entry(NULL) == INVALID_ARGUMENT);
        CheckModuleObject(object);
        CheckClasses(object);
        DriveUpdateCycles(object);
        CloseModule(module);
        EXPECT(!IsModuleAt((const void*)(uintptr_t)entry));
        if (round == 0)
            handles = CountProcessHandles();
    }
    EXPECT(handles > 0 && CountProcessHandles() <= handles + kept * (unsigned)rounds);
    printf("SlotHost: %u handles after the first of %d rounds, %u at the end, %d failures\n", handles, rounds,
           CountProcessHandles(), failures);
    return failures ? 1 : 0;
}
