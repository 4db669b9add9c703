#include "core/commands/help_text.h"

namespace tarn::commands {

// Both texts are kept verbatim, trailing spaces included: scripts and users compare them.

const std::string& usageText() {
    static const std::string text = R"TEXT(

Commands:
  keys            Type strings with special key syntax
  browser-tab     Switch to browser tab or create new one
  browser-default Manage default web browser
  move-mouse      Move mouse to window or screen
  move-app        Move and resize focused window
  settings        Manage configuration settings
  version         Show version information
  help            Show detailed help and all available key names

Usage:
  tarn keys "<string>"
    Type strings with special key syntax
    Plain text is typed as-is
    Special keys and modifiers use {curly braces}
    
    Examples:
      tarn keys "Hello World{enter}"
      tarn keys "ls{enter}{pause 500}cd ..{enter}"
      tarn keys "{cmd+c}{pause 100}{cmd+v}"
      tarn keys "Test {leftbrace}curly{rightbrace} braces"
    
    Clipboard Commands:
      {grab}                      - Copy clipboard to Tarn buffer
      {put}                       - Paste Tarn buffer to clipboard
      {paste}                     - Type the Tarn buffer contents
      {insert before <text>}      - Add text to start of buffer
      {insert after <text>}       - Add text to end of buffer
      {trim before <text>}        - Trim up to and including text
      {trim after <text>}         - Trim from and including text
      
      Note: Use {cmd+c} before {grab} to copy selected text first
      Example: {cmd+c}{grab}{trim after ?}{insert before http:{slash}{slash}web.archive.org{slash}}{paste}
  
  tarn browser-tab <browser> <urlPattern> <titlePattern> <url>
    Switch to browser tab or create new one
    Browser: "Google Chrome", "Safari", etc.
    Title Pattern: Use || to match multiple patterns
  
  tarn browser-default <list|current|set|toggle>
    Manage default web browser
    list: Show available browsers as JSON
    current: Show current default browser
    set <index>: Set default by index
    set --bundle <bundleID>: Set default by bundle ID
    toggle --a <bundleID> --b <bundleID>: Toggle between two browsers
  
  tarn move-mouse [app|screen] [screenNumber] [home|center]
    Move mouse to window or screen
    Position: home (upper-left) or center (default)
  
  tarn settings [name] [value]
    Manage configuration settings
    No args: show all settings | One arg: show value | Two args: set value
    --remove <name>: remove a setting
  
  tarn move-app <left|right|up|down>
    Move and resize focused window
    Cycles through positions, remembers per-app state
  
  tarn version
    Show version information
  
  tarn help
    Show this help and all available key names
)TEXT";
    return text;
}

const std::string& keyNamesText() {
    static const std::string text = R"TEXT(Available Key Names (use inside {braces}):

Modifiers:
  cmd, command, ctrl, control, alt, option, shift

Letters: a-z

Numbers: 0-9

Function Keys: f1-f20

Special Keys:
  enter, return, tab, space, escape, esc, delete, backspace
  left, right, up, down
  home, end, pageup, pagedown

Punctuation:
  minus, equal, leftbracket, rightbracket
  semicolon, quote, apostrophe, singlequote
  backslash, comma, slash, period, grave

Special Characters (for typing literal characters):
  leftbrace      - types {
  rightbrace     - types }
  doublequote    - types "
  singlequote    - types '

Keypad:
  keypad0-9, keypaddecimal, keypadmultiply, keypadplus
  keypaddivide, keypadminus, keypadequals, keypadenter, keypadclear

Media:
  volumeup, volumedown, mute

Commands:
  {pause N}      - Pause for N milliseconds

Clipboard Manipulation:
  {grab}         - Copy clipboard to Tarn buffer
  {put}          - Paste Tarn buffer to clipboard  
  {paste}        - Type the Tarn buffer as keyboard input
  {insert before <text>}  - Add text to start of buffer
  {insert after <text>}   - Add text to end of buffer
  {trim before <text>}    - Trim everything before and including text
  {trim after <text>}     - Trim everything after and including text
  
  Embedded braces in insert/trim are handled recursively:
    {insert before http:{slash}{slash}web.archive.org{slash}}
    This inserts: http://web.archive.org/
  
  Trim is inclusive (removes the specified string too):
    Buffer: "https://example.com/page?foo=bar"
    {trim after ?}
    Result: "https://example.com/page"
    
    To keep the delimiter, re-insert it:
    {trim after ?}{insert after ?}

Modifier Combinations:
  {cmd+c}        - Command+C
  {ctrl+alt+delete}  - Ctrl+Alt+Delete
  {shift+enter}  - Shift+Enter

Settings Management:
  tarn settings              - List all settings
  tarn settings browser      - Get 'browser' setting
  tarn settings --remove browser - Remove 'browser' setting
  tarn settings browser "Google Chrome" - Set 'browser' setting
  
  Common settings:
    browser - Default browser for browser-tab command
)TEXT";
    return text;
}

}  // namespace tarn::commands
