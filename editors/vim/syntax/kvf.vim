" Vim syntax file
" Language: properties files of the VELOX Wrapper (.kvf)
if exists("b:current_syntax")
  finish
endif

" A backslash at the end of a line continues an entry, and a comment as well.
syntax region kvfComment start="^\s*[#!]" skip="\\\_." end="$" contains=kvfTodo,@Spell
syntax keyword kvfTodo contained TODO FIXME XXX

syntax match kvfKey "^\s*\zs\%(\\.\|[^\\=:#! \t]\)\%(\\.\|[^\\=: \t]\)*" nextgroup=kvfValue,kvfTrap
syntax region kvfValue contained matchgroup=kvfSeparator start="[=: \t]\s*" skip="\\\_." end="$"
      \ contains=kvfEscape,kvfPercent,kvfReference,kvfContinuation,kvfTrailing

" "key = value" gives the value a leading blank.
syntax match kvfTrap contained "[ \t]\+=[ \t]\+" nextgroup=kvfRest
syntax region kvfRest contained start="." skip="\\\_." end="$"
      \ contains=kvfEscape,kvfPercent,kvfReference,kvfContinuation,kvfTrailing
syntax match kvfTrailing contained "[ \t]\+$"

syntax match kvfReference contained "%[^%]*%"
syntax match kvfEscape contained "\\[^%]"
" Two backslashes make a percent sign that begins no reference.
syntax match kvfPercent contained "\\\\%"
syntax match kvfContinuation contained "\\$"

highlight default link kvfComment Comment
highlight default link kvfTodo Todo
highlight default link kvfKey Identifier
highlight default link kvfSeparator Delimiter
highlight default link kvfValue String
highlight default link kvfRest String
highlight default link kvfReference PreProc
highlight default link kvfEscape SpecialChar
highlight default link kvfPercent SpecialChar
highlight default link kvfContinuation Special
highlight default link kvfTrap Error
highlight default link kvfTrailing Error

let b:current_syntax = "kvf"
