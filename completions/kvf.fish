# fish completion for kvf
function __kvf_rules
    command -q kvf; and kvf rules 2>/dev/null | string match -r '^\S+'
end

function __kvf_keys
    command -q kvf; and kvf keys 2>/dev/null
end

function __kvf_first
    test (count (commandline -opc)) -eq 1
end

# The command is one of these, and the cursor stands before any "--".
function __kvf_in
    set -l words (commandline -opc)
    test (count $words) -gt 1; and contains -- $words[2] $argv; and not contains -- -- $words
end

# After "--" of "kvf check" stands a command line of its own.
function __kvf_command_line
    set -l words (commandline -opc)
    test (count $words) -gt 1; and test $words[2] = check; or return
    set -l dashes (contains -i -- -- $words); or return
    complete -C (string join ' ' -- $words[(math $dashes + 1)..] (commandline -ct))
end

complete -c kvf -f
complete -c kvf -n __kvf_first -l help -d 'Show the commands'
complete -c kvf -n __kvf_first -l version -d 'Show the version'
complete -c kvf -n __kvf_first -a check -d 'Find what is wrong'
complete -c kvf -n __kvf_first -a explain -d 'Show what a run would use'
complete -c kvf -n __kvf_first -a jvm -d 'List the JVMs of this machine'
complete -c kvf -n __kvf_first -a import -d 'Turn a command line of java into a file'
complete -c kvf -n __kvf_first -a new -d 'Make a folder that can be shipped'
complete -c kvf -n __kvf_first -a cds -d 'Make the application start sooner'
complete -c kvf -n __kvf_first -a trace -d 'Show where the time of a start goes'
complete -c kvf -n __kvf_first -a ready -d 'Wait until a process listens'
complete -c kvf -n __kvf_first -a rules -d 'List or explain the rules'
complete -c kvf -n __kvf_first -a lsp -d 'Serve an editor'

complete -c kvf -n '__kvf_in check explain jvm import new cds trace ready rules lsp' -l help -d 'Show the options'
complete -c kvf -n '__kvf_in check explain jvm cds rules' -l json -d 'Machine-readable'
complete -c kvf -n '__kvf_in check explain cds trace' -k -a '(__fish_complete_suffix .kvf)'
complete -c kvf -n '__kvf_in check' -l format -x -a 'text gcc json sarif github gitlab checkstyle' -d 'How to print'
complete -c kvf -n '__kvf_in check' -l root -x -a '(__fish_complete_directories)' -d 'Name files from there on'
complete -c kvf -n '__kvf_in check' -l fix -d 'Fix what leaves nothing to decide'
complete -c kvf -n '__kvf_in check' -l diff -d 'Print what --fix would change'
complete -c kvf -n '__kvf_in check' -l java -x -a '(seq 8 26)' -d 'Also what this release does not accept'
complete -c kvf -n '__kvf_in check' -l jvm -d 'Start the JVM with the options'
complete -c kvf -n '__kvf_in check cds' -l deep -d 'Read the files that an archive was made from'
complete -c kvf -n '__kvf_in check' -l script -d 'Also what a script cannot carry'
complete -c kvf -n '__kvf_in check' -k -a '(__fish_complete_suffix .service)'
complete -c kvf -n '__kvf_in check' -l severity -x -a 'error warning' -d 'What the status counts'
complete -c kvf -n '__kvf_in check' -l color -x -a 'auto always never' -d 'Use colour'
complete -c kvf -n '__kvf_in check' -l memory -x -d 'Memory of the launch'
complete -c kvf -n '__kvf_in check' -l stdin-name -r -F -d 'File that standard input stands for'
complete -c kvf -n '__kvf_in check' -l disable -x -a '(__kvf_rules)' -d 'Leave out a rule'
complete -c kvf -n '__kvf_in explain' -l show-secrets -d 'Print passwords'
complete -c kvf -n '__kvf_in explain' -l key -x -a '(__kvf_keys)' -d 'One key with its history'
complete -c kvf -n '__kvf_in jvm' -l line -d 'Print the line for a properties file'
complete -c kvf -n '__kvf_in import new' -l pid -x -a '(__fish_complete_pids)' -d 'A process that runs java'
complete -c kvf -n '__kvf_in import new' -l unit -r -k -a '(__fish_complete_suffix .service)' -d 'A unit that starts java'
complete -c kvf -n '__kvf_in import' -l write -r -F -d 'File to write'
complete -c kvf -n '__kvf_in import' -l secrets -r -F -d 'File for passwords'
complete -c kvf -n '__kvf_in jvm' -l write -r -F -d 'File to put the line into'
complete -c kvf -n '__kvf_in new' -l java -x -d 'Release of Java'
complete -c kvf -n '__kvf_in new' -l jar -r -k -a '(__fish_complete_suffix .jar)' -d 'The application'
complete -c kvf -n '__kvf_in new' -l lib -x -a '(__fish_complete_directories)' -d 'Folder with its archives'
complete -c kvf -n '__kvf_in new' -l jre -x -a '(__fish_complete_directories)' -d 'Runtime to ship'
complete -c kvf -n '__kvf_in new' -l wrapper -r -F -d 'Launcher to copy'
complete -c kvf -n '__kvf_in new' -l force -d 'Write into a folder that is there'
complete -c kvf -n '__kvf_in new' -l name -x -d 'Name of the application'
complete -c kvf -n '__kvf_in new' -l main -x -d 'Start class'
complete -c kvf -n '__kvf_in new' -a '(__fish_complete_directories)'
complete -c kvf -n '__kvf_in cds' -l kind -x -a 'auto aot static dynamic' -d 'What to make'
complete -c kvf -n '__kvf_in trace' -l html -r -F -d 'Page to write'
complete -c kvf -n '__kvf_in trace' -l json -r -F -d 'Trace events to write'
complete -c kvf -n '__kvf_in cds trace' -l until -x -d 'Text that it prints once it has started'
complete -c kvf -n '__kvf_in cds trace' -l pairs -x -d 'Starts to measure'
complete -c kvf -n '__kvf_in cds' -l short -d 'Also try options that only help short commands'
complete -c kvf -n '__kvf_in cds' -l jar -d 'Make archives of folders in the class path'
complete -c kvf -n '__kvf_in cds' -l refresh -d 'Make the archive in use anew if it no longer fits'
complete -c kvf -n '__kvf_in cds trace' -l run-for -x -d 'Seconds to let it run'
complete -c kvf -n '__kvf_in cds' -l write -d 'Add the line to the file'
complete -c kvf -n '__kvf_in cds trace' -l wrapper -r -F -d 'The launcher'
complete -c kvf -n '__kvf_in ready' -l pid -x -a '(__fish_complete_pids)' -d 'The process'
complete -c kvf -n '__kvf_in ready' -l tcp -x -d 'Port to wait for'
complete -c kvf -n '__kvf_in ready' -l unix -r -F -d 'Socket to wait for'
complete -c kvf -n '__kvf_in ready' -l timeout -x -d 'Seconds to wait at most'
complete -c kvf -n '__kvf_in lsp' -l stdio -d 'As without it'
complete -c kvf -n '__kvf_in rules' -a '(__kvf_rules)'
complete -c kvf -n __kvf_command_line -a '(__kvf_command_line)'
