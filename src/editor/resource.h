// Resource identifiers shared by the resource script and the editors.
#pragma once

#define IDD_PARAMETERS 101 // empty dialog template; the generic editor fills it at run time
#define IDI_FXHOST 103
