-- Where customers are: the name in Russian, by which an order keeps it, and in English.
return {
  { "Москва", "Moscow" }, { "Санкт-Петербург", "Saint Petersburg" }, { "Казань", "Kazan" },
  { "Нижний Новгород", "Nizhny Novgorod" }, { "Екатеринбург", "Yekaterinburg" }, { "Самара", "Samara" },
  { "Йошкар-Ола", "Yoshkar-Ola" }, { "Орёл", "Oryol" },
}
