tell application "SAFARI"
    activate
    set found to false
    
    repeat with w in windows
        repeat with t in tabs of w
            if (URL of t contains "a"b") or (name of t contains "") then
                set current tab of w to t
                set index of w to 1
                set found to true
                exit repeat
            end if
        end repeat
        if found then exit repeat
    end repeat
    
    if not found then
        if (count of windows) is 0 then
            make new document
        end if
        tell window 1
            set newTab to make new tab with properties {URL:"u"}
            set current tab to newTab
        end tell
    end if
end tell