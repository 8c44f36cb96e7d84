// Starting a game anew in the window that is open.
#pragma once

class LuaThingy;

/// Notes the window's OpenGL state, to come back to it. Call once, before the script's first Init.
void KeepFirstState();

/// Ends the render to texture that a Draw was in when it failed: drawing goes to the window.
void LeaveRenderTarget();

/// Brings the host to where it was before Init: no Lua state, no content, the engine's first settings. What
/// the command line has chosen stays, and so does the space mapper. Needs KeepFirstState before and the
/// current OpenGL context.
void ForgetGame(LuaThingy& host);
