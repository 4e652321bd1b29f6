-- Asks, then deletes a loan.
require("loan_form"):delete(request.Params.Value["id"])
