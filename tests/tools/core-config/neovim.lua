-- Neovim without a screen talks to the language server of core-config. Environment: PROGRAM, SCHEMA; SHARED, the folder
-- of the functions that both scripts call.
--
-- Ends with status 0; prints what is wrong and ends with status 1 otherwise.
local editor = dofile(vim.env.SHARED .. "/neovim.lua")
local fail, expect, ask = editor.fail, editor.expect, editor.ask

local function main()
    vim.cmd("edit Game/units.txt")
    local client = vim.lsp.start_client({ name = "core-config", cmd = { vim.env.PROGRAM, "lsp", "--schema", vim.env.SCHEMA } })
    expect(client and vim.lsp.buf_attach_client(0, client), "the server does not start")
    local function count()
        return #vim.diagnostic.get(0)
    end
    vim.wait(60000, function() return count() == 3 end, 10)
    expect(count() == 3, "expected 3 findings: " .. vim.inspect(vim.diagnostic.get(0)))
    local found = vim.diagnostic.get(0)[2] -- after the name that is missing
    expect(found.lnum == 4 and found.col == 4 and found.code == "unknown-name", vim.inspect(found))

    vim.api.nvim_buf_set_lines(0, 4, 5, true, { "    health = 5" })
    vim.wait(60000, function() return count() == 1 end, 10)
    expect(count() == 1, "expected 1 finding after a change")

    local names = ask("textDocument/completion", 5, 0)
    expect(names and #names == 11 and names[4].label == "health", vim.inspect(names))
    local hover = ask("textDocument/hover", 4, 6)
    expect(hover and hover.contents.value:find("int32 1..10000", 1, true), vim.inspect(hover))

    vim.lsp.buf.formatting_sync({}, 60000)
    vim.wait(60000, function() return count() == 0 end, 10)
    local line = vim.api.nvim_buf_get_lines(0, 6, 7, true)[1]
    expect(line == "    damage = 1 2", "the repaired line: " .. vim.inspect(line))
    expect(count() == 0, "expected no finding after a repair")
    vim.cmd("qall!")
end

local isGood, message = pcall(main)
if not isGood then
    fail(message)
end
