// What the framework must know of each of our effects at compile time. One
// header serves the three: FXD_KIND (set by the Makefile) picks the effect.
#pragma once

#define FXD_GAIN 1
#define FXD_LATENCY 2
#define FXD_INSTRUMENT 3
#define FXD_EDITOR 4
#define FXD_MANY 5

#ifndef FXD_KIND
#error "FXD_KIND selects the effect"
#endif

// fxd_editor is fxd_gain with an editor of its own.
#define FXD_HAS_GAIN (FXD_KIND == FXD_GAIN || FXD_KIND == FXD_EDITOR)

#define DISTRHO_PLUGIN_BRAND "fxhost tests"
#if FXD_KIND == FXD_EDITOR
// A plain window of the platform's, not the framework's widgets: the
// "external" UI, embedded in the host's window.
#define DISTRHO_PLUGIN_HAS_UI 1
#define DISTRHO_PLUGIN_HAS_EXTERNAL_UI 1
#define DISTRHO_PLUGIN_HAS_EMBED_UI 1
#else
#define DISTRHO_PLUGIN_HAS_UI 0
#endif
#define DISTRHO_PLUGIN_IS_RT_SAFE 1
#define DISTRHO_PLUGIN_NUM_OUTPUTS 2

#if FXD_KIND == FXD_GAIN
#define DISTRHO_PLUGIN_NAME "Fxd Gain"
#define DISTRHO_PLUGIN_URI "urn:fxhost:fxd_gain"
#define DISTRHO_PLUGIN_NUM_INPUTS 2
#define DISTRHO_PLUGIN_WANT_STATE 1
#define DISTRHO_PLUGIN_VST3_CATEGORIES "Fx|Dynamics"
#elif FXD_KIND == FXD_EDITOR
#define DISTRHO_PLUGIN_NAME "Fxd Editor"
#define DISTRHO_PLUGIN_URI "urn:fxhost:fxd_editor"
#define DISTRHO_PLUGIN_NUM_INPUTS 2
#define DISTRHO_PLUGIN_WANT_STATE 1
#define DISTRHO_PLUGIN_VST3_CATEGORIES "Fx|Dynamics"
#elif FXD_KIND == FXD_LATENCY
#define DISTRHO_PLUGIN_NAME "Fxd Latency"
#define DISTRHO_PLUGIN_URI "urn:fxhost:fxd_latency"
#define DISTRHO_PLUGIN_NUM_INPUTS 2
#define DISTRHO_PLUGIN_WANT_LATENCY 1
#define DISTRHO_PLUGIN_VST3_CATEGORIES "Fx|Delay"
#elif FXD_KIND == FXD_MANY
#define DISTRHO_PLUGIN_NAME "Fxd Many"
#define DISTRHO_PLUGIN_URI "urn:fxhost:fxd_many"
#define DISTRHO_PLUGIN_NUM_INPUTS 2
#define DISTRHO_PLUGIN_VST3_CATEGORIES "Fx|EQ"
#elif FXD_KIND == FXD_INSTRUMENT
#define DISTRHO_PLUGIN_NAME "Fxd Instrument"
#define DISTRHO_PLUGIN_URI "urn:fxhost:fxd_instrument"
#define DISTRHO_PLUGIN_NUM_INPUTS 0
#define DISTRHO_PLUGIN_IS_SYNTH 1
#define DISTRHO_PLUGIN_VST3_CATEGORIES "Instrument|Synth"
#endif
