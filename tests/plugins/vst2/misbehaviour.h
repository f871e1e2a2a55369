// What a rude test plug-in does wrong, read from its own file name: a copy
// named "fx_rude-crash-open.dll" or "fx3_rude-crash-open.vst3" misbehaves as
// "crash-open". One build serves every misbehaviour; the copies are made by
// tests/plugins/CMakeLists.txt, which lists them. Otherwise the plug-in
// behaves as the quiet plug-in it was built from.
#pragma once

enum class Moment { Open, Block, Close };

// Called by the plug-in as it opens, for each audio block of frames (not for
// calls with none), and as it closes. Misbehaviours that wait for a block
// strike at the 50th, so that a stream is well under way.
void misbehave(Moment moment);
