// Returning the configuration and the stored certificates to the factory state.
#pragma once

// Removes the identity files unless `exceptions` contains "identity", then the socket and Wi-Fi
// certificates unless it contains "certs". 0, or -1 when a removal failed (later ones are skipped).
int revert_certificates(const char *exceptions);
// Replaces the configuration by the factory defaults under the worklog lock and records "/config"
// in the worklog. With `exceptions` (not null) the groups they name are kept and the result is
// saved like any change; without, the defaults file is copied over the local file. 0, or -1 when
// nothing was reverted.
int revert_to_factory(const char *exceptions);
