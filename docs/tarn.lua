---@meta
-- The script API for editors: put this file where the editor's Lua language server looks for libraries.
-- It is never run. Flags are numbers: 0 is off, anything else is on, and true reads as 0.

---A number that switches something: 0 off, anything else on. Booleans read as 0.
---@alias Flag number

---What happened to a key: 1 pressed, 0 released, 2 repeated while held.
---@alias KeyState 0|1|2

-- ---- Callbacks: the script defines these ----

---Called once after the script has run: load content and bind keys here.
function Init() end

---Called in every frame.
---@param time number game time in seconds
---@param delta number seconds of this frame: always 1/60, but 0 in the first call
function Draw(time, delta) end

---Called for each event of a bound key, before the frame's Draw.
---@param key integer game key as given to BindKey; the raw key code in typing mode
---@param state KeyState
---@param time number game time in seconds
function KeyHappen(key, state, time) end

---Called once after Draw has failed; the program ends afterwards.
function OnError() end

-- ---- Matrices ----

---Remembers the current coordinate system.
function Push() end

---Returns to the coordinate system that was remembered last.
function Pop() end

---Moves the origin of what is drawn next.
---@param x number
---@param y? number default 0
---@param z? number default 0
function Move(x, y, z) end

---Turns what is drawn next, about the z axis or about a given one.
---@param ax number x of the axis
---@param ay number y of the axis
---@param az number z of the axis
---@param angle number half-turns: 1 is 180 degrees
---@overload fun(angle: number)
function Rotate(ax, ay, az, angle) end

---Scales what is drawn next, in all directions alike or per axis.
---@param sx number
---@param sy number
---@param sz number 0 when left out after sy
---@overload fun(s: number)
function Scale(sx, sy, sz) end

---Starts the coordinate system afresh, seen from an eye that looks at a target; +z is up.
---@param ex number eye
---@param ey number
---@param ez number
---@param tx number target
---@param ty number
---@param tz number
function LookAt(ex, ey, ez, tx, ty, tz) end

-- ---- Camera ----

---Chooses the camera for the rest of the frame: 2 is flat, 3 is in perspective.
---@param mode 2|3
---@param value? number with 2: fit 0 stretched, 1 longer window side, 2 height (default 0); with 3: vertical field of view in degrees, kept for later frames
function SetCam(mode, value) end

---Sets half the extent of the 2D camera, from the next SetCam(2) on.
---@param s number 1 at first
function Set2DCamScale(s) end

-- ---- Render state ----

---Sets the drawing colour; parts from 0 to 1.
---@param r number
---@param g number
---@param b? number default 0
---@param a? number default 1
---@overload fun(grey: number)
function Color(r, g, b, a) end

---Sets how new pixels mix with old ones: 0 by alpha, 1 adding, below 0 off; or by two factors.
---@param mode integer mode, or with a second argument the source factor 0 to 8
---@param destination? integer destination factor 0 to 7
function Blend(mode, destination) end

---Switches the depth test and depth writing.
---@param test Flag
---@param write? Flag default: as test
function Depth(test, write) end

---Combines the bits of new and old colours.
---@param op integer 0 to 15; below 0 off
function Logic(op) end

---Sets the colour that the next frames start with.
---@param r number
---@param g number
---@param b number
---@param a number
function BackColor(r, g, b, a) end

---Hides the faces that run clockwise as seen from the eye.
---@param flag Flag
function Culling(flag) end

-- ---- Drawing ----

---Draws a square from -1 to 1 with the whole texture on it.
function Quad() end

---Draws a line, one pixel wide.
---@param x1 number
---@param y1 number
---@param z1 number
---@param x2 number
---@param y2 number
---@param z2 number
function DrawLine(x1, y1, z1, x2, y2, z2) end

-- ---- Lights ----

---Switches lighting as a whole.
---@param flag Flag
function SetLighting(flag) end

---Switches lighting and a light on and places the light in the current coordinate system.
---@param light 0|1
---@param x number
---@param y number
---@param z number
function SetLight(light, x, y, z) end

---Sets the colour of a light.
---@param light integer
---@param r number
---@param g number
---@param b number
function SetLightColor(light, r, g, b) end

---Sets how a light fades: it is divided by constant + linear * d + quadratic * d * d at distance d.
---@param light integer
---@param constant number 1 at first
---@param linear number 0 at first
---@param quadratic number 0 at first
function SetLightAtten(light, constant, linear, quadratic) end

---Sets the light that is everywhere.
---@param r number
---@param g number
---@param b number
function SetAmbientColor(r, g, b) end

-- ---- Registering content ----

---Registers an image as a texture item.
---@param file string path below media/
---@param group? string default group when left out
---@return integer index of the new item
function AddTex(file, group) end

---Registers and loads the meshes of an OBJ file.
---@param file string path below media/
---@param group? string default group when left out
---@return integer index of the first new item
function AddGeom(file, group) end

---Registers a shader meta file (.shad).
---@param file string path below media/
---@param group? string default group when left out
---@return integer index of the new item
function AddShad(file, group) end

---Registers and loads a sound.
---@param file string path below media/
---@param group? string default group when left out
---@return integer index of the new item
function AddAudio(file, group) end

-- ---- Using content ----

---Binds a texture; -1 binds none.
---@param group string
---@param item string|integer name, or place within the group from 0
---@overload fun(index: integer)
---@overload fun(name: string)
function Tex(group, item) end

---Draws a mesh.
---@param group string
---@param item string|integer name, or place within the group from 0
---@overload fun(index: integer)
---@overload fun(name: string)
function Geom(group, item) end

---Binds a shader; -1 returns to normal drawing. Does nothing while shaders are disabled.
---@param group string
---@param item string|integer name, or place within the group from 0
---@overload fun(index: integer)
---@overload fun(name: string)
function Shad(group, item) end

-- ---- Building meshes ----

---Makes an empty mesh item.
---@param group string
---@param name string
---@return integer index of the new item
---@overload fun(): integer
---@overload fun(name: string): integer
function NewGeom(group, name) end

---Appends a copy of a mesh to another one, changed by the geometry stack and the texture stack.
---@param group string group of the source
---@param name string name of the source
---@param target integer index of the mesh that grows
---@overload fun(source: integer, target: integer)
---@overload fun(name: string, target: integer|string)
function Place(group, name, target) end

---Remembers the geometry transform, up to 15 times.
function GPush() end

---Returns to the geometry transform remembered last.
function GPop() end

---Forgets all geometry transforms and starts with the identity.
function GReset() end

---Moves the copies that Place makes.
---@param x number
---@param y? number default 0
---@param z? number default 0
function GMove(x, y, z) end

---Turns the copies that Place makes.
---@param ax number x of the axis
---@param ay number y of the axis
---@param az number z of the axis
---@param angle number half-turns: 1 is 180 degrees
---@overload fun(angle: number)
function GRotate(ax, ay, az, angle) end

---Scales the copies that Place makes.
---@param sx number
---@param sy number
---@param sz number 0 when left out after sy
---@overload fun(s: number)
function GScale(sx, sy, sz) end

---Remembers the texture transform, up to 15 times.
function TPush() end

---Returns to the texture transform remembered last.
function TPop() end

---Forgets all texture transforms and starts with the identity.
function TReset() end

---Moves the texture coordinates of the copies that Place makes.
---@param u number
---@param v? number default 0
function TMove(u, v) end

---Turns the texture coordinates of the copies that Place makes; the usual axis is 0, 0, 1.
---@param ax number
---@param ay number
---@param az number
---@param radians number radians, unlike the other rotations
function TRotate(ax, ay, az, radians) end

---Scales the texture coordinates of the copies that Place makes.
---@param su number
---@param sv? number default: su
function TScale(su, sv) end

-- ---- Shaders ----

---Lets Shad work, or not. Binds and unbinds nothing.
---@param flag Flag
function SetShadersEnabled(flag) end

---Tells whether shaders are enabled.
---@return 0|1
function GetShadersEnabled() end

---Gives a uniform of the bound shader the next number: 0, 1, 2, ...
---@param id integer without effect
---@param name string
---@param count? integer default 1, the only count that Uniform can set
---@param isFloat? Flag default on, the only kind that Uniform can set
function DeclareUniform(id, name, count, isFloat) end

---Sets a float uniform of the bound shader.
---@param number integer in the order of declaration, from 0
---@param value number
function Uniform(number, value) end

-- ---- Render to texture ----

---Lets everything be drawn into a texture instead of the window, which starts out black.
function BeginRTTFull() end

---Returns to the window and draws the texture as a square from -1 to 1, upside down.
function EndRTTFull() end

-- ---- Text ----

---Draws text with the texture item "font".
---@param text string
---@param align? integer 1 starts at x = 0 (default), 0 centred, -1 ends at x = 0
---@param spacing? number extra width after each character, default 0
---@param lineSpacing? number lines are 0.75 + lineSpacing apart, default 0
function Text(text, align, spacing, lineSpacing) end

-- ---- Sounds ----

---Plays a sound at full volume.
---@param group string
---@param item string|integer name, or place within the group from 0
---@return integer channel 0 to 63; that of the play before when nothing was played, -1 when there was none
---@overload fun(index: integer): integer
---@overload fun(name: string): integer
function Audio(group, item) end

---Stops a channel.
---@param channel integer
function StopAudio(channel) end

---Changes a playing channel; everything is set by every call.
---@param channel integer
---@param volume number 0 silent to 1 full
---@param pitch? number default 1
---@param loop? Flag default off
---@param x? number place, default 0
---@param y? number
---@param z? number
function AudioProps(channel, volume, pitch, loop, x, y, z) end

---Makes a sound item without samples.
---@param name string
---@param group? string default group when left out
---@return integer index of the new item
function GetNewAudio(name, group) end

---Gives a sound new samples.
---@param index integer
---@param samples number[] -2 to 2, channels in turn
---@param channels integer 1 mono, 2 stereo
---@param rate integer samples a second and channel
---@param step? integer how many values make one sample, default 1
function SetAudioData(index, samples, channels, rate, step) end

---Reads the samples of a sound.
---@param index integer
---@return number[] samples channels in turn
function GetAudioData(index) end

-- ---- Music ----

---Opens a music file for a player.
---@param player integer 0 to 7
---@param file string path below media/
function AddMusic(player, file) end

---Starts a music player.
---@param player integer 0 to 7
function Music(player) end

---Stops a music player; it starts from the beginning the next time.
---@param player integer 0 to 7
function StopMusic(player) end

---Changes a music player; everything is set by every call.
---@param player integer 0 to 7
---@param volume number 0 silent to 1 full
---@param pitch? number default 1
---@param loop? Flag default off
---@param x? number place, default 0
---@param y? number
---@param z? number
function MusicProps(player, volume, pitch, loop, x, y, z) end

-- ---- Input ----

---Lets a raw key code reach KeyHappen as a game key. The press of game key 35 also saves a picture of the window.
---@param gameKey integer
---@param key integer raw key code 0 to 107
---@param shared? Flag keeps other keys with this game key bound, default off
function BindKey(gameKey, key, shared) end

---Holds back key presses; what still arrives comes with raw key codes.
---@param mode Flag
function TypingMode(mode) end

---Shows or hides the pointer.
---@param flag Flag
function SetMouseVis(flag) end

---Lets the pointer go (1) or holds it in the middle of the window (0).
---@param flag 0|1
function SetMouseFree(flag) end

---The pointer in units of the 2D camera with scale 1, y upwards, by the camera that was set last.
---@return number x
---@return number y
function GetMouseScalar() end

---The sum of all motion of the held pointer, up positive; 1024 pixels are 1.
---@return number x
---@return number y
function GetMouseTotal() end

---The motion of the held pointer in this frame, down positive; 1024 pixels are 1.
---@return number x
---@return number y
function GetMouseRelative() end

-- ---- Window and pictures ----

---The window's size in pixels.
---@return integer width
---@return integer height
function GetWindowSize() end

---Waits for the screen's refresh, or does not; full screen only.
---@param flag Flag
function SetVSync(flag) end

---Sets where the press of game key 35 saves pictures.
---@param directory string an existing directory, "screenshots" at first
function SetScreenshotDir(directory) end

-- ---- Saved strings ----

---Reads a saved string.
---@param game string name of the game, not part of the path
---@param key string path of the file
---@return string text empty when there is no such file
function ReadSaveString(game, key) end

---Saves a string.
---@param game string name of the game, not part of the path
---@param key string path of the file
---@param text string|number
function WriteSaveString(game, key, text) end

-- ---- Noise ----

---Smooth noise, roughly between -0.35 and 0.35.
---@param x number
---@param y? number default 0
---@param z? number default 0
---@return number value
function GetNoise(x, y, z) end

---Chooses another pattern of noise.
---@param seed number 0 at first
function SetNoiseSeed(seed) end

-- ---- Space mapper ----

---Makes an empty space mapper with bounds -10 to 10 and 4 x 4 cells.
---@param kind 1
function SetSpaceMapper(kind) end

---Replaces the mapper's grid by an empty one; all walls go.
---@param x1 number lower left corner
---@param y1 number
---@param x2 number upper right corner
---@param y2 number
---@param columns? integer default 1
---@param rows? integer default 1; to be given with columns
function Set2DSpaceBounds(x1, y1, x2, y2, columns, rows) end

---Adds a wall.
---@param kind "line2d"
---@param x1 number
---@param y1 number
---@param x2 number
---@param y2 number
function AddSpaceObject(kind, x1, y1, x2, y2) end

---Hands an event to the mapper, which knows none.
---@param name string
function SpaceEvent(name) end

---Removes all walls.
---@param keepGrid? Flag default off: the grid goes too
function SpaceMapperReset(keepGrid) end

---Moves a disc by its velocity for one frame and bounces it off the walls.
---@param from number[] centre: x, y
---@param motion number[] velocity in units per second
---@param radius number
---@param contact number[] receives the centre at the last touch
---@param result number[] receives the centre at the end
---@param velocity number[] receives the velocity at the end
---@return integer touches
function MapPoint(from, motion, radius, contact, result, velocity) end

---Follows a straight way to its first touch.
---@param from number[] x, y
---@param to number[] x, y
---@param radius number
---@param contact number[] receives the centre at the touch
---@param result number[] receives where the rest of the way leads after the bounce
---@return integer touches 1 or 0
function MapLine(from, to, radius, contact, result) end

---Draws the cells and walls of the mapper as lines.
function DebugDrawSegments() end

-- ---- Paths ----

---The directory of scripts, "scripts/".
---@return string path
function GetScriptsPath() end

---The directory of content, "media/".
---@return string path
function GetMediaPath() end
