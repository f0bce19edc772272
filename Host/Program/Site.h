// A site: what the reference host runs, and what happens to it.
#pragma once

#include "Host/Components/AccessInfoSource.h"
#include "Host/Components/NodeHandle.h"
#include "Host/Components/PermissionsChecker.h"

#include <filesystem>
#include <functional>

namespace Host
{

class SiteHost;

// Something that an event has done, as a person reads it.
struct Finding
{
    std::wstring text;
    bool isFailure = false;
};

// What the module asks of the host's components and they answer; counts.
struct Activity
{
    std::uint64_t queries = 0; // of permissions
    std::uint64_t tokens = 0;  // minted
    std::uint64_t failedGrants = 0;
};

// What has to become true of a running site.
struct Condition
{
    std::optional<std::uint64_t> rows;  // in the table of access rights
    std::optional<std::uint64_t> roles; // on the report server in use
    std::vector<std::wstring> listed;   // accounts with a row
    std::vector<std::wstring> unlisted;
    std::vector<std::wstring> granted; // accounts with a role on the report server in use
    Activity activity;                 // at least so much more
};

struct Event
{
    std::wstring say;
    std::function<std::vector<Finding>(SiteHost&)> perform; // may be empty; throws Failure
    double wait = 0;                                        // seconds
    std::optional<Condition> until;
    double limit = 0;  // seconds until the condition has to hold
    bool cycle = true; // an update cycle follows; a condition waits for what the module does by itself
};

// A class of the module. `role` is what its components are to those that refer to them, in a person's words.
struct ModuleClass
{
    std::string name;
    GUID clsid;
    std::string role;
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
    std::string accounts;        // text of the accounts file
    double tokenLifetime = 3600; // seconds
    bool displayNames = true;    // of the tokens' subjects
    std::vector<Grant> grants;
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
