-- One loan, or a new one: takes the record, shows the form, saves it.
require("loan_form"):save()
