// Starting the adapters' driver and telling it that the registry has changed.
#pragma once

// Makes \\.\{GUID} open exactly for the adapters that are there, started and answering. Installs
// and starts the driver first when it does not run: its process ends with the Wine server, so this
// can be at any time. False: it cannot be started, or qvnic.sys is not found; the last error says
// why.
bool DriverSync();

// The same, but a driver that does not run is left alone: there are no devices then anyway.
void DriverSyncIfRunning();
