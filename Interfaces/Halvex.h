// The host's component library, Halvex.dll / libHalvex.so.
#pragma once

#include "Interfaces/ComponentBase.h"

// Looks a component up by the name under which the host runs it and hands out its interface `iid` with one reference.
// `flags`: 0. HResultFromWin32(ERROR_NOT_FOUND) when no component has the name, E_NOINTERFACE when it lacks the
// interface. Any thread.
extern "C" HRESULT HxGetNamedInstance(const wchar_t* name, uint32_t flags, REFIID iid, void** out);
