-- Neovim without a screen talks to the language server of core-strings. Environment: PROGRAM; SHARED, the folder of the
-- functions that both scripts call.
--
-- Ends with status 0; prints what is wrong and ends with status 1 otherwise.
local editor = dofile(vim.env.SHARED .. "/neovim.lua")
local fail, expect, ask = editor.fail, editor.expect, editor.ask

local function main()
    vim.cmd("edit locale/de/strings.utf8")
    local client = vim.lsp.start_client({ name = "core-strings", cmd = { vim.env.PROGRAM, "lsp" } })
    expect(client and vim.lsp.buf_attach_client(0, client), "the server does not start")
    local function count()
        return #vim.diagnostic.get(0)
    end
    vim.wait(60000, function() return count() == 1 end, 10)
    local found = vim.diagnostic.get(0)[1]
    expect(found and found.lnum == 0 and found.code == "no-space-after-equals", vim.inspect(vim.diagnostic.get(0)))

    vim.api.nvim_buf_set_lines(0, 0, 1, true, { '"Quit" = "Beenden"' })
    vim.wait(60000, function() return count() == 0 end, 10)
    expect(count() == 0, "expected no finding after a repair")

    vim.lsp.buf.formatting_sync({}, 60000)
    local line = vim.api.nvim_buf_get_lines(0, 1, 2, true)[1]
    expect(line == '"New game" = "Neues Spiel"', "the line in its form: " .. vim.inspect(line))

    vim.api.nvim_buf_set_lines(0, 2, 2, true, { '"Lo' })
    local keys = ask("textDocument/completion", 2, 3)
    expect(keys and #keys == 1 and keys[1].label == "Load", vim.inspect(keys))
    local hover = ask("textDocument/hover", 1, 4)
    expect(hover and hover.contents.value == "fr: Nouvelle partie", vim.inspect(hover))

    local targets = ask("textDocument/definition", 1, 4)
    expect(targets and #targets == 1, vim.inspect(targets))
    vim.lsp.util.jump_to_location(targets[1])
    local there = vim.api.nvim_get_current_line()
    expect(there == '"New game" = "Nouvelle partie"', "the other language's entry: " .. there)
    vim.cmd("qall!")
end

local isGood, message = pcall(main)
if not isGood then
    fail(message)
end
