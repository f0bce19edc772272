// The site of the stress run; @USERS@ stands for more users.
R"({
  "site": "Stress",
  "configuration": { "name": "Configuration", "children": [
    { "name": "RBAC", "attributes": { "IsInUse": true } }, { "name": "OtherRBAC" }, { "name": "Viewers", "type": "Viewers" },
    { "name": "Watchers", "type": "Viewers" } ] },
  "names": { "databaseConnectionManager": "Database", "reportingSettingsManager": "Settings" },
  "connectionSettings": [
    { "name": "remote", "attributes": { "Enabled": true, "ReportServerUrl": "http://198.51.100.20/",
      "ReportServerUserName": "svc", "ReportServerPassword": { "binary": "00" } } },
    { "name": "local", "attributes": { "Enabled": false, "ReportServerUrl": "http://localhost/",
      "ReportServerUserName": "svc", "ReportServerPassword": { "binary": "01" } } } ],
  "accounts": [ "computer HERE = S-1-5-21-9-9-9", "domain D = S-1-5-21-1-2-3", "user .\\local = 1001"@USERS@,
    "group D\\readers = 1003", "member D\\readers = D\\user41" ],
  "accessInfo": [ { "name": "Fixed", "items": [ { "account": "D\\fixed" } ] } ],
  "components": [
    { "name": "Updater", "class": "ReportAccessInfoUpdater", "config": { "DatabaseConnectionManager": "Database",
      "ReportingSettingsManager": "Settings", "UpdateIntervalS": 1, "RetryIntervalS": 1,
      "RegisterAccessInfoSources": ["Fixed", "RBAC", "Requests", "Configured"],
      "RegisterAccessInfoConsumers": ["Roles"] } },
    { "name": "RBAC", "class": "RBACUsageTracker", "config": { "ReportAccessInfoUpdater": "Updater",
      "RBACStatusNodePath": "\\Configuration\\RBAC", "RBACIsInUseAttribute": "IsInUse" } },
    { "name": "Requests", "class": "PrepareReportAccessService", "config": { "ReportAccessInfoUpdater": "Updater",
      "RequiredContainerPermission": "ViewReports" } },
    { "name": "Configured", "class": "ConfiguredAccountsTracker",
      "config": { "ReportAccessInfoUpdater": "Updater", "RequiredContainerPermission": "ViewReports",
        "UpdateIntervalS": 1, "ForceRefreshIntervalS": 1 },
      "children": [ { "name": "TrackingItems", "children": [ { "name": "Item", "type": "TrackingItem",
        "attributes": { "NodePath": "\\Configuration\\Viewers", "Attribute": "Accounts" } },
        { "name": "Other", "type": "TrackingItem",
          "attributes": { "NodePath": "\\Configuration\\Watchers", "Attribute": "Accounts" } } ] } ] },
    { "name": "Roles", "class": "SSRSRolesUpdater", "config": { "UpdateIntervalS": 1, "RetryIntervalS": 1 } } ],
  "timeline": []
})"
