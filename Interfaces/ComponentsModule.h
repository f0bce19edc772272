// The module as its host sees it: one export, one module object, component classes by class identifier.
#pragma once

#include "Interfaces/ComponentBase.h"

// The module object lives as long as the module is loaded. Reference counts do not apply to it: AddRef, Release and
// QueryInterface add none, and AddRef and Release return 0xFFFFFFFF.
struct IComponentsModule : IComponentBase
{
    static constexpr GUID Iid{0x989524A9, 0x625D, 0x48C8, {0xAB, 0x03, 0x7C, 0x08, 0x4E, 0xB5, 0x26, 0x5D}};

    // Does nothing; S_OK. May be called at any time, any number of times.
    virtual HRESULT Initialize() = 0;

    // Writes the component objects that are alive to the module's log (setting "EnableAliveObjectsTracking"). S_OK.
    virtual HRESULT ReportAliveObjects() = 0;

    // Add and drop a hold on the module; return the new number of holds. Every live component object has one.
    virtual ULONG Lock() = 0;
    virtual ULONG Unlock() = 0;

    // Stores 1 while there are holds, else 0. E_POINTER when `locked` is null.
    virtual HRESULT IsLocked(BOOL* locked) = 0;

    // Builds a component of class `clsid` and hands out its interface `iid` with one reference.
    // REGDB_E_CLASSNOTREG for an unknown class (`out` is left alone), E_NOINTERFACE when the class does not have the
    // interface, E_INVALIDARG when `out` is null, E_OUTOFMEMORY. Several threads may create components at once.
    virtual HRESULT CreateInstance(REFCLSID clsid, REFIID iid, void** out) = 0;
};

// The module's only export. Stores the module object's interface in `out`; E_INVALIDARG when `out` is null.
extern "C" HRESULT GetComponentsModuleObject(void** out);
using GetComponentsModuleObjectFunction = HRESULT (*)(void** out);

// The component classes that the module offers.
namespace KestrineClasses
{

inline constexpr GUID PrepareReportAccessService{
    0x164E71C0, 0x2257, 0x4F6A, {0x92, 0x3D, 0x7C, 0x7C, 0xCC, 0x9E, 0x4F, 0x37}};
inline constexpr GUID RBACUsageTracker{0x390AC417, 0x6289, 0x432E, {0x89, 0x06, 0x8F, 0x14, 0xF6, 0x0E, 0x77, 0x7F}};
inline constexpr GUID ReportAccessInfoUpdater{
    0xDF29F0A0, 0x9009, 0x4547, {0xA9, 0x0A, 0x64, 0xD6, 0x4D, 0x92, 0xD1, 0xB7}};
inline constexpr GUID ConfiguredAccountsTracker{
    0x68C56230, 0x5FC6, 0x470C, {0xAE, 0x48, 0xF5, 0xB1, 0x16, 0x49, 0xAD, 0x2F}};
inline constexpr GUID SSRSRolesUpdater{0xB51DCB3B, 0xEDD1, 0x46ED, {0xB0, 0x33, 0x3E, 0xD2, 0x8C, 0x73, 0x94, 0x91}};

} // namespace KestrineClasses
