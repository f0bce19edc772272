// A site: what the reference host runs, and what happens to it.
#pragma once

#include "Host/Components/AccessInfoSource.h"
#include "Host/Components/NodeAccess.h"
#include "Host/Program/ModuleClasses.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Host
{

// The reporting settings are replaced, or another of their entries is enabled (empty: none).
struct SettingsEvent
{
    std::vector<NodeDescription> entries;
    std::optional<std::wstring> enable;
};

// A node of the configuration tree gets attributes, or is removed.
struct ConfigurationEvent
{
    std::wstring path;
    std::vector<Attribute> attributes;
    bool create;
    bool remove;
};

// An access-info source of the host changes what it vouches for, or fails, or recovers (an empty failure).
struct SourceEvent
{
    std::wstring name;
    std::optional<std::vector<AccessItem>> items;
    std::vector<AccessItem> add;
    std::vector<std::wstring> remove;
    std::optional<std::wstring> failure;
};

struct DatabaseEvent
{
    std::optional<bool> outage;
    std::optional<std::uint64_t> failAtStatement; // 0: no longer
};

struct WaitEvent
{
    double seconds;
};

using Action = std::variant<std::monostate, SettingsEvent, ConfigurationEvent, SourceEvent, DatabaseEvent, WaitEvent>;

struct Event
{
    std::wstring say;
    Action action;
    bool cycle; // an update cycle follows
};

struct SiteComponent
{
    std::wstring name;
    const ModuleClass* moduleClass;
    NodeDescription config;
};

struct SiteSource
{
    std::wstring name;
    std::vector<AccessItem> items;
};

struct Site
{
    std::wstring title;
    std::map<std::wstring, std::wstring> moduleSettings; // environment variable -> value
    NodeDescription configuration;
    std::vector<NodeDescription> connectionSettings;
    std::wstring databaseConnectionManager; // instance names
    std::wstring reportingSettingsManager;
    std::vector<SiteSource> sources;
    std::vector<SiteComponent> components;
    std::map<std::wstring, std::wstring> objectNames; // GUID text -> what a person calls the object
    std::vector<Event> timeline;
};

// Reads and checks a site file completely: what it returns can be run. Throws InputError that begins with the file's
// name.
Site LoadSite(const std::filesystem::path& file);

// The same for a text.
Site ReadSite(const std::string& json);

} // namespace Host
