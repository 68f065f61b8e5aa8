# fish completion for tarvexctl. The program itself says what may follow; this only hands it over. Nothing of what the
# user has typed, or of what the bus says, is ever run.

function __tarvexctl_complete
    set -l words (commandline -opc)
    while string match -qr '^\w+=' -- $words[1] # variables for the command
        set -e words[1]
    end
    set words[1] (string replace -r '^~/' -- "$HOME/" $words[1]) # the shell passes it as it is typed
    type -q -- $words[1]; or return
    set -l word (commandline -ct)
    set -l typed (string unescape -- $word; or string replace -r '^["\']' '' -- $word)
    set -l lines ($words[1] complete fish -- $words[2..] "$typed" 2>/dev/null)
    for line in $lines
        set -l fields (string split \t -- $line)
        switch $fields[1]
            case word open
                printf '%s\t%s\n' $fields[2] $fields[3]
            case files
                # What stands before the name of the file, such as "--output=", stays there.
                set -l length (string length -- "$fields[2]")
                for path in (__fish_complete_path (string sub -s (math $length + 1) -- "$typed"))
                    printf '%s%s\n' "$fields[2]" $path
                end
        end
    end
end

complete -c tarvexctl -f -a '(__tarvexctl_complete)'
