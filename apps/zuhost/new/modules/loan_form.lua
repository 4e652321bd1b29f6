-- The form of a loan: what it holds and what must be right with it.
return zu.form {
  table = "Loans", back = "/",
  fields = {
    { "what", column = "What", required = true, length = 200 },
    { "reader", column = "Reader", required = true, length = 100 },
    { "due", column = "Due", kind = "date", required = true },
    { "state", column = "State", choices = { "out", "back" }, texts = "state.", default = "out", required = true },
  },
  fill = function(record, values) record.SearchText = zu.lower(values.what .. "\n" .. values.reader) end,
}
