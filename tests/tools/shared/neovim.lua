-- What a script of Neovim needs to talk to a language server and to compare its answers. A script gets the functions with
-- dofile.
local function fail(text)
    io.stdout:write(text .. "\n")
    vim.cmd("cquit 1")
end

local function expect(condition, text)
    if not condition then
        fail(text)
    end
end

-- Returns the result of a request at a place, counted from 0.
local function ask(method, line, character)
    local position = { line = line, character = character }
    local params = { textDocument = vim.lsp.util.make_text_document_params(), position = position, options = {} }
    local answers = vim.lsp.buf_request_sync(0, method, params, 60000)
    return answers and answers[next(answers)] and answers[next(answers)].result
end

return { fail = fail, expect = expect, ask = ask }
