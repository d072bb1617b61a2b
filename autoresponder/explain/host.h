// The host that the explanation is about: as whom it looks, which files it could read, and what has
// been chosen.
#pragma once

#include "autoresponder/run/switches.h"

#include <string>
#include <vector>

struct HostFile {
    std::string path;
    /// Why it cannot be read; empty where it can.
    std::string problem;
    /// No failure: there is none.
    bool is_missing = false;
};

struct HostFacts {
    /// By name, or by number without one.
    std::string user;
    /// Who may read what deliveries, which do not run as root, may not.
    bool is_root = false;
    std::vector<HostFile> files;
    /// The variables that are in force, with their values where those are no "true".
    std::vector<std::string> switches;
};

/// Opens the files, to see whether that can be done.
HostFacts host_facts(const Policy& policy);
