autocmd BufNewFile,BufRead *.kvf,*.kvf.adj setfiletype kvf
