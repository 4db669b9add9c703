tell application "Brave Browser"
    activate
    set found to false
    
    repeat with w in windows
        set i to 0
        repeat with t in tabs of w
            set i to i + 1
            if (URL of t contains "mail.example") or (title of t contains "Inbox") or (title of t contains "Mail") then
                set active tab index of w to i
                set index of w to 1
                set found to true
                exit repeat
            end if
        end repeat
        if found then exit repeat
    end repeat
    
    if not found then
        if (count of windows) is 0 then
            make new window
        end if
        tell window 1
            set newTab to make new tab with properties {URL:"https://mail.example/"}
            set active tab index to (count of tabs)
        end tell
    end if
end tell