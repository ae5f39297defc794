" :make checks the file and takes the cursor to what is found.
if exists("b:did_ftplugin")
  finish
endif
let b:did_ftplugin = 1

setlocal commentstring=#\ %s
setlocal comments=:#,:!
setlocal makeprg=kvf\ check\ %:S
setlocal errorformat=%f:%l:\ %trror:\ %m,%f:%l:\ %tarning:\ %m
let b:undo_ftplugin = "setlocal commentstring< comments< makeprg< errorformat<"
