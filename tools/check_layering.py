print("placeholder")
